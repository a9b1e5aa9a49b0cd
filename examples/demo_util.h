// Small tools shared by the demo programs: a PNG writer and a clock.
#pragma once

#include <png.h>
#include <time.h>

#include <cstdint>
#include <cstdio>
#include <vector>

// Processor time of this thread: the figures stay meaningful on a busy
// machine.
inline double ThreadSeconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Writes 8-bit samples, `channels` per pixel (1 grey, 3 RGB), row after row.
inline bool WritePng(const char* path, const std::vector<uint8_t>& pixels, int32_t width, int32_t height,
                     int32_t channels) {
  FILE* file = std::fopen(path, "wb");
  if (!file) return false;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
    return false;
  }
  png_init_io(png, file);
  png_set_IHDR(png, info, width, height, 8, channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  for (int32_t y = 0; y < height; ++y)
    png_write_row(png, const_cast<png_bytep>(&pixels[size_t(y) * width * channels]));
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
  return true;
}
