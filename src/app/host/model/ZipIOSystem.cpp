#include "host/model/ZipIOSystem.h"

#include <assimp/IOStream.hpp>

#include <algorithm>
#include <cstring>
#include <vector>

namespace host
{
namespace
{

/// An unpacked entry.
class MemoryStream : public Assimp::IOStream
{
public:
    explicit MemoryStream(std::string&& content) : m_content(std::move(content)) {}

    size_t Read(void* buffer, size_t size, size_t count) override
    {
        if (size == 0) {
            return 0;
        }
        size_t const items = std::min(count, (m_content.size() - m_at) / size);
        if (items > 0) {
            std::memcpy(buffer, m_content.data() + m_at, items * size);
        }
        m_at += items * size;
        return items;
    }

    size_t Write(void const*, size_t, size_t) override { return 0; }

    aiReturn Seek(size_t offset, aiOrigin origin) override
    {
        size_t target = offset;
        if (origin == aiOrigin_CUR) {
            target = m_at + offset;
        } else if (origin == aiOrigin_END) {
            target = m_content.size() - offset;
        }
        if (target > m_content.size()) {
            return aiReturn_FAILURE;
        }
        m_at = target;
        return aiReturn_SUCCESS;
    }

    size_t Tell() const override { return m_at; }

    size_t FileSize() const override { return m_content.size(); }

    void Flush() override {}

private:
    std::string m_content;
    size_t m_at = 0;
};

/// Slashes one way round, no leading slash, "." and ".." worked out.
std::string Normalise(std::string const& name)
{
    std::vector<std::string> parts;
    std::string part;
    auto const finishPart = [&parts, &part]() {
        if (part == ".." && !parts.empty()) {
            parts.pop_back();
        } else if (!part.empty() && part != "." && part != "..") {
            parts.push_back(part);
        }
        part.clear();
    };
    for (char const c : name) {
        if (c == '/' || c == '\\') {
            finishPart();
        } else {
            part += c;
        }
    }
    finishPart();

    std::string path;
    for (std::string const& each : parts) {
        path += (path.empty() ? "" : "/") + each;
    }
    return path;
}

std::string ToLower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

} // namespace

ZipIOSystem::ZipIOSystem(ZipArchive const& archive) : m_archive(archive)
{
    for (std::string const& name : archive.GetNames()) {
        m_byLowerName.emplace(ToLower(Normalise(name)), name);
    }
}

std::string ZipIOSystem::Resolve(std::string const& name) const
{
    std::string const path = Normalise(name);
    if (m_archive.Contains(path)) {
        return path;
    }
    auto const found = m_byLowerName.find(ToLower(path));
    return found == m_byLowerName.end() ? std::string() : found->second;
}

bool ZipIOSystem::Exists(char const* name) const
{
    return !Resolve(name).empty();
}

Assimp::IOStream* ZipIOSystem::Open(char const* name, char const* mode)
{
    std::string const path = Resolve(name);
    std::string content;
    bool const reading = mode == nullptr || std::strchr(mode, 'w') == nullptr;
    if (!reading || path.empty() || !m_archive.Read(path, content)) {
        return nullptr;
    }
    return new MemoryStream(std::move(content));
}

void ZipIOSystem::Close(Assimp::IOStream* stream)
{
    delete stream;
}

} // namespace host
