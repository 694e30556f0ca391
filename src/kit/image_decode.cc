#include "kit/image_decode.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>
#include <png.h>

#include <string>

#include "platform/log_gate.h"

namespace qdx::kit {
namespace {

std::uint32_t premultiplied(unsigned r, unsigned g, unsigned b, unsigned a) {
  auto mul = [a](unsigned c) { return (c * a + 127) / 255; };
  return (a << 24) | (mul(r) << 16) | (mul(g) << 8) | mul(b);
}

bool overBudget(std::uint64_t width, std::uint64_t height) {
  if (width <= kMaxImageSide && height <= kMaxImageSide) return false;
  debugLog("qdx: an image of " + std::to_string(width) + " x " + std::to_string(height) +
           " pixels is over the " + std::to_string(kMaxImageSide) +
           "-pixel limit: refused, treated as missing");
  return true;
}

bool tooLarge(std::uint64_t width, std::uint64_t height) {
  return width == 0 || height == 0 || overBudget(width, height);
}

bool isPng(const std::string& bytes) {
  static const unsigned char kPng[] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
  return bytes.size() >= sizeof kPng && std::memcmp(bytes.data(), kPng, sizeof kPng) == 0;
}

bool isJpeg(const std::string& bytes) {
  static const unsigned char kJpeg[] = {0xFF, 0xD8, 0xFF};
  return bytes.size() >= sizeof kJpeg && std::memcmp(bytes.data(), kJpeg, sizeof kJpeg) == 0;
}

bool decodePng(const std::string& bytes, DecodedPixels& out) {
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&image, bytes.data(), bytes.size())) return false;
  if (tooLarge(image.width, image.height)) {
    png_image_free(&image);
    return false;
  }
  image.format = PNG_FORMAT_RGBA;
  std::vector<unsigned char> rgba(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, rgba.data(), 0, nullptr)) {
    png_image_free(&image);
    return false;
  }
  out.width = static_cast<int>(image.width);
  out.height = static_cast<int>(image.height);
  out.pixels.resize(static_cast<std::size_t>(out.width) * out.height);
  for (std::size_t i = 0; i < out.pixels.size(); ++i) {
    const unsigned char* p = &rgba[i * 4];
    out.pixels[i] = premultiplied(p[0], p[1], p[2], p[3]);
  }
  return true;
}

// libjpeg reports fatal errors by calling error_exit, which must not
// return; we jump back to the decoder instead of letting it exit.
struct JpegError {
  jpeg_error_mgr base;
  std::jmp_buf jump;
};

[[noreturn]] void jpegErrorExit(j_common_ptr info) {
  auto* err = reinterpret_cast<JpegError*>(info->err);
  std::longjmp(err->jump, 1);
}

void jpegSilence(j_common_ptr, int) {}

// Reads the JPEG in bytes: its size into width and height and, unless rgb
// is null, its pixels as packed RGB into *rgb (malloc'd). Plain C data only
// between setjmp and longjmp: no destructors are skipped.
bool decodeJpegInto(const std::string& bytes, int* width, int* height, unsigned char** rgb) {
  jpeg_decompress_struct info;
  JpegError err;
  info.err = jpeg_std_error(&err.base);
  err.base.error_exit = jpegErrorExit;
  err.base.emit_message = jpegSilence;
  if (rgb != nullptr) *rgb = nullptr;
  if (setjmp(err.jump)) {
    jpeg_destroy_decompress(&info);
    if (rgb != nullptr) {
      std::free(*rgb);
      *rgb = nullptr;
    }
    return false;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(bytes.data()),
               static_cast<unsigned long>(bytes.size()));
  if (jpeg_read_header(&info, TRUE) != JPEG_HEADER_OK) {
    jpeg_destroy_decompress(&info);
    return false;
  }
  *width = static_cast<int>(info.image_width);
  *height = static_cast<int>(info.image_height);
  if (rgb == nullptr || tooLarge(info.image_width, info.image_height)) {
    jpeg_destroy_decompress(&info);
    return rgb == nullptr;
  }
  info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&info);
  std::size_t stride = static_cast<std::size_t>(info.output_width) * 3;
  *rgb = static_cast<unsigned char*>(std::malloc(stride * info.output_height));
  if (*rgb == nullptr) {
    jpeg_destroy_decompress(&info);
    return false;
  }
  while (info.output_scanline < info.output_height) {
    unsigned char* row = *rgb + stride * info.output_scanline;
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  *width = static_cast<int>(info.output_width);
  *height = static_cast<int>(info.output_height);
  jpeg_destroy_decompress(&info);
  return true;
}

bool decodeJpeg(const std::string& bytes, DecodedPixels& out) {
  int width = 0, height = 0;
  unsigned char* rgb = nullptr;
  if (!decodeJpegInto(bytes, &width, &height, &rgb)) return false;
  try {
    out.width = width;
    out.height = height;
    out.pixels.resize(static_cast<std::size_t>(width) * height);
    for (std::size_t i = 0; i < out.pixels.size(); ++i) {
      const unsigned char* p = rgb + i * 3;
      out.pixels[i] = premultiplied(p[0], p[1], p[2], 255);
    }
  } catch (...) {
    std::free(rgb);
    throw;
  }
  std::free(rgb);
  return true;
}

}  // namespace

bool decodeImage(const std::string& bytes, DecodedPixels& out) {
  if (isPng(bytes)) return decodePng(bytes, out);
  if (isJpeg(bytes)) return decodeJpeg(bytes, out);
  return false;
}

bool exceedsPixelBudget(const std::string& bytes) {
  int width = 0, height = 0;
  if (isPng(bytes)) {
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, bytes.data(), bytes.size())) return false;
    png_image_free(&image);
    return overBudget(image.width, image.height);
  }
  if (isJpeg(bytes) && decodeJpegInto(bytes, &width, &height, nullptr)) {
    return overBudget(width, height);
  }
  return false;
}

}  // namespace qdx::kit
