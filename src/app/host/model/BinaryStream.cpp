#include "host/model/BinaryStream.h"

#include <cstring>

namespace host
{
namespace
{

uint64_t Mix(uint64_t hash, uint64_t word)
{
    hash = (hash ^ word) * 0x9E3779B97F4A7C15ull;
    return hash ^ (hash >> 32);
}

} // namespace

void BlockChecksum::Add(void const* data, size_t size)
{
    auto const* bytes = static_cast<unsigned char const*>(data);
    uint64_t hash = Mix(m_value, size);
    while (size >= sizeof(uint64_t)) {
        uint64_t word = 0;
        std::memcpy(&word, bytes, sizeof(word));
        hash = Mix(hash, word);
        bytes += sizeof(word);
        size -= sizeof(word);
    }
    uint64_t rest = 0;
    if (size > 0) {
        std::memcpy(&rest, bytes, size);
    }
    m_value = Mix(hash, rest);
}

void BinaryWriter::Write(std::string const& text)
{
    Write(static_cast<uint64_t>(text.size()));
    WriteBytes(text.data(), text.size());
}

void BinaryWriter::WriteBytes(void const* data, size_t size)
{
    m_checksum.Add(data, size);
    m_numBytes += size;
    if (size > 0) {
        m_stream.write(static_cast<char const*>(data), static_cast<std::streamsize>(size));
    }
}

void BinaryReader::Read(std::string& text)
{
    text.resize(ReadCount(1));
    ReadBytes(text.data(), text.size());
}

size_t BinaryReader::ReadCount(size_t itemSize)
{
    uint64_t count = 0;
    Read(count);
    if (!m_good || count > m_left / itemSize) {
        m_good = false;
        return 0;
    }
    return static_cast<size_t>(count);
}

void BinaryReader::ReadBytes(void* data, size_t size)
{
    if (!m_good || size > m_left) {
        m_good = false;
        return;
    }
    if (size > 0) {
        m_stream.read(static_cast<char*>(data), static_cast<std::streamsize>(size));
        m_good = m_stream.gcount() == static_cast<std::streamsize>(size);
    }
    m_left -= size;
    m_checksum.Add(data, size);
}

} // namespace host
