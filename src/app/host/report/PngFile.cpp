#include "host/report/PngFile.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace host
{

namespace
{

png_image MakeHeader(Image const& image)
{
    png_image header;
    std::memset(&header, 0, sizeof header);
    header.version = PNG_IMAGE_VERSION;
    header.width = static_cast<png_uint_32>(image.GetWidth());
    header.height = static_cast<png_uint_32>(image.GetHeight());
    header.format = PNG_FORMAT_RGB;
    // Rendered pictures compress nearly as well at zlib's fast levels, at a fraction of the time.
    header.flags = PNG_IMAGE_FLAG_FAST;
    return header;
}

} // namespace

std::vector<std::uint8_t> EncodePng(Image const& image)
{
    std::vector<std::uint8_t> bytes;
    if (image.GetPixels().empty()) {
        return bytes;
    }
    png_image header = MakeHeader(image);
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(header);
    bytes.resize(size);
    if (png_image_write_to_memory(&header, bytes.data(), &size, 0, image.GetPixels().data(), 0,
                                  nullptr) == 0) {
        bytes.clear();
        return bytes;
    }
    bytes.resize(size);
    return bytes;
}

bool DecodePng(std::vector<std::uint8_t> const& bytes, Image* image)
{
    png_image header;
    std::memset(&header, 0, sizeof header);
    header.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&header, bytes.data(), bytes.size()) == 0) {
        return false;
    }
    header.format = PNG_FORMAT_RGB;
    Image decoded(static_cast<int>(header.width), static_cast<int>(header.height));
    if (png_image_finish_read(&header, nullptr, decoded.GetPixel(0, 0), 0, nullptr) == 0) {
        png_image_free(&header);
        return false;
    }
    *image = decoded;
    return true;
}

bool WritePngFile(std::string const& path, Image const& image, std::string* problem)
{
    std::vector<std::uint8_t> const bytes = EncodePng(image);
    if (bytes.empty()) {
        *problem = path + ": the picture cannot be encoded";
        return false;
    }
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        *problem = path + ": " + std::strerror(errno);
        return false;
    }
    bool const written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    int const writeError = errno;
    bool const closed = std::fclose(file) == 0;
    if (!written || !closed) {
        *problem = path + ": " + std::strerror(written ? errno : writeError);
        std::remove(path.c_str());
        return false;
    }
    return true;
}

} // namespace host
