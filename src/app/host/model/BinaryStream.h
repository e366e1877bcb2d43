// Writing and reading of plain numbers, texts and arrays in the machine's own byte order, with a
// running checksum. ModelCache is written and read through these two classes.
//
// Both sides must call the same sequence: the checksum covers each call by itself. The reader
// knows how many bytes are left and refuses a length that is longer, so that a damaged file cannot
// make it ask for absurd amounts of memory. After a first failure every call does nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

namespace host
{

/// A checksum over blocks of bytes; not for defence against anyone, only against damage.
class BlockChecksum
{
public:
    /// Takes in one block, its length too. Linear, eight bytes at a time.
    void Add(void const* data, size_t size);

    uint64_t Get() const { return m_value; }

private:
    uint64_t m_value = 0x243F6A8885A308D3ull;
};

/// Writes to a stream that the caller owns.
class BinaryWriter
{
public:
    explicit BinaryWriter(std::ostream& stream) : m_stream(stream) {}

    template <class T>
    void Write(T const& value)
    {
        static_assert(std::is_arithmetic_v<T>);
        WriteBytes(&value, sizeof(T));
    }

    void Write(std::string const& text);

    template <class T>
    void Write(std::vector<T> const& values)
    {
        static_assert(std::is_arithmetic_v<T>);
        Write(static_cast<uint64_t>(values.size()));
        WriteBytes(values.data(), values.size() * sizeof(T));
    }

    uint64_t GetNumBytes() const { return m_numBytes; }

    uint64_t GetChecksum() const { return m_checksum.Get(); }

    bool IsGood() const { return m_stream.good(); }

private:
    void WriteBytes(void const* data, size_t size);

    std::ostream& m_stream;
    BlockChecksum m_checksum;
    uint64_t m_numBytes = 0;
};

/// Reads what BinaryWriter wrote, from a stream that the caller owns.
class BinaryReader
{
public:
    /// @param numBytes  how many bytes there are to read.
    BinaryReader(std::istream& stream, uint64_t numBytes) : m_stream(stream), m_left(numBytes) {}

    template <class T>
    void Read(T& value)
    {
        static_assert(std::is_arithmetic_v<T>);
        value = T();
        ReadBytes(&value, sizeof(T));
    }

    void Read(std::string& text);

    template <class T>
    void Read(std::vector<T>& values)
    {
        static_assert(std::is_arithmetic_v<T>);
        values.resize(ReadCount(sizeof(T)));
        ReadBytes(values.data(), values.size() * sizeof(T));
    }

    /// Reads a number of items of at least `itemSize` bytes each; 0 when so many cannot follow.
    size_t ReadCount(size_t itemSize);

    /// True while nothing failed.
    bool IsGood() const { return m_good; }

    /// True when everything was read and nothing failed.
    bool IsAtEnd() const { return m_good && m_left == 0; }

    uint64_t GetChecksum() const { return m_checksum.Get(); }

private:
    void ReadBytes(void* data, size_t size);

    std::istream& m_stream;
    BlockChecksum m_checksum;
    uint64_t m_left;
    bool m_good = true;
};

} // namespace host
