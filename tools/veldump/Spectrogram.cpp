#include "Spectrogram.h"

#include <png.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>

namespace veldump {

std::array<uint8_t, 3> levelColour(double t) {
  // Nine evenly spaced samples of the viridis scale, interpolated linearly in sRGB.
  static constexpr std::array<std::array<double, 3>, 9> kStops{{{68, 1, 84},
                                                                {71, 45, 123},
                                                                {59, 82, 139},
                                                                {44, 114, 142},
                                                                {33, 145, 140},
                                                                {40, 174, 128},
                                                                {94, 201, 98},
                                                                {173, 220, 48},
                                                                {253, 231, 37}}};
  if (!(t > 0.0)) t = 0.0;  // also NaN
  if (t > 1.0) t = 1.0;
  const double pos = t * static_cast<double>(kStops.size() - 1);
  const std::size_t i = std::min(static_cast<std::size_t>(pos), kStops.size() - 2);
  const double f = pos - static_cast<double>(i);
  std::array<uint8_t, 3> c{};
  for (std::size_t k = 0; k < 3; ++k)
    c[k] = static_cast<uint8_t>(std::lround(kStops[i][k] + (kStops[i + 1][k] - kStops[i][k]) * f));
  return c;
}

namespace {

// The source cells [first, last) that pixel `p` of `pixels` covers on an axis of `cells`.
void span(unsigned p, unsigned pixels, std::size_t cells, std::size_t& first, std::size_t& last) {
  first = static_cast<std::size_t>(static_cast<std::uint64_t>(p) * cells / pixels);
  last = static_cast<std::size_t>((static_cast<std::uint64_t>(p) + 1) * cells / pixels);
  if (last <= first) last = first + 1;  // enlarging: the nearest cell
  if (last > cells) last = cells;
}

}  // namespace

Image renderSpectrogram(const std::vector<std::vector<uint8_t>>& spectra, unsigned width,
                        unsigned height, const LevelRange& range) {
  Image img;
  img.width = width;
  img.height = height;
  img.rgb.assign(static_cast<std::size_t>(width) * height * 3, 0);
  std::size_t bins = 0;
  int lo = 255;
  int hi = 0;
  for (const auto& s : spectra) {
    bins = std::max(bins, s.size());
    for (uint8_t v : s) {
      lo = std::min<int>(lo, v);
      hi = std::max<int>(hi, v);
    }
  }
  if (spectra.empty() || bins == 0 || width == 0 || height == 0) return img;
  const double from = range.lo.value_or(lo);
  const double to = range.hi.value_or(hi);
  const double scale = to > from ? to - from : 1;
  auto level = [&](std::size_t t, std::size_t b) -> int {
    return b < spectra[t].size() ? spectra[t][b] : lo;
  };
  for (unsigned x = 0; x < width; ++x) {
    std::size_t t0, t1;
    span(x, width, spectra.size(), t0, t1);
    for (unsigned y = 0; y < height; ++y) {
      std::size_t b0, b1;
      span(height - 1 - y, height, bins, b0, b1);  // row 0 is the top: highest bins
      double sum = 0;
      for (std::size_t t = t0; t < t1; ++t)
        for (std::size_t b = b0; b < b1; ++b) sum += level(t, b);
      const double mean = sum / static_cast<double>((t1 - t0) * (b1 - b0));
      const auto c = levelColour((mean - from) / scale);
      std::memcpy(&img.rgb[(static_cast<std::size_t>(y) * width + x) * 3], c.data(), 3);
    }
  }
  return img;
}

SpectrumReducer::SpectrumReducer(std::size_t total, std::size_t bins, std::size_t maxColumns,
                                 std::size_t maxRows)
    : total_(std::max<std::size_t>(total, 1)),
      bins_(std::max<std::size_t>(bins, 1)),
      columns_(std::max<std::size_t>(std::min(total_, maxColumns), 1)),
      rows_(std::max<std::size_t>(std::min(bins_, maxRows), 1)),
      sums_(columns_ * rows_, 0.0),
      counts_(columns_ * rows_, 0) {}

void SpectrumReducer::add(const uint8_t* levels, std::size_t count) {
  const std::size_t column =
      std::min(static_cast<std::size_t>(static_cast<std::uint64_t>(next_) * columns_ / total_), columns_ - 1);
  ++next_;
  count = std::min(count, bins_);
  for (std::size_t b = 0; b < count; ++b) {
    const std::size_t cell = column * rows_ + static_cast<std::size_t>(static_cast<std::uint64_t>(b) * rows_ / bins_);
    sums_[cell] += levels[b];
    ++counts_[cell];
  }
}

std::vector<std::vector<uint8_t>> SpectrumReducer::result() const {
  std::vector<std::vector<uint8_t>> out(columns_);
  for (std::size_t c = 0; c < columns_; ++c) {
    for (std::size_t r = 0; r < rows_ && counts_[c * rows_ + r] != 0; ++r) {
      const std::size_t cell = c * rows_ + r;
      out[c].push_back(static_cast<uint8_t>(std::lround(sums_[cell] / counts_[cell])));
    }
  }
  return out;
}

namespace {

// libpng reports errors by longjmp; nothing with a destructor lives in this frame after
// setjmp, so the jump skips no clean-up.
bool pngOut(std::FILE* f, const Image& image, png_bytepp rows, char* msg, std::size_t msgSize) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, msg,
      [](png_structp p, png_const_charp text) {
        auto* out = static_cast<char*>(png_get_error_ptr(p));
        std::snprintf(out, 256, "%s", text);
        png_longjmp(p, 1);
      },
      [](png_structp, png_const_charp) {});
  if (png == nullptr) {
    std::snprintf(msg, msgSize, "out of memory");
    return false;
  }
  png_infop info = png_create_info_struct(png);
  if (info == nullptr || setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, f);
  png_set_IHDR(png, info, image.width, image.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  png_write_image(png, rows);
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

}  // namespace

bool writePng(const Image& image, const std::string& path, std::string& err) {
  if (image.width == 0 || image.height == 0 ||
      image.rgb.size() != static_cast<std::size_t>(image.width) * image.height * 3) {
    err = "empty image";
    return false;
  }
  std::vector<png_bytep> rows(image.height);
  for (unsigned y = 0; y < image.height; ++y)
    rows[y] = const_cast<png_bytep>(&image.rgb[static_cast<std::size_t>(y) * image.width * 3]);
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) {
    err = "cannot open " + path + " for writing: " + std::strerror(errno);
    return false;
  }
  char msg[256] = "";
  const bool ok = pngOut(f, image, rows.data(), msg, sizeof msg);
  const bool closed = std::fclose(f) == 0;
  if (!ok || !closed) {
    err = ok ? "write error on " + path : std::string("PNG error: ") + msg;
    std::remove(path.c_str());
    return false;
  }
  return true;
}

}  // namespace veldump
