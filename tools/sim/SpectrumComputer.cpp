#include <sim/SpectrumComputer.h>

#include <fftw3.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <stdexcept>

namespace velsim {
namespace {

constexpr double kPi = 3.14159265358979323846;

// FFTW's planner is not thread-safe; execution of a finished plan is.
std::mutex& plannerMutex() {
  static std::mutex m;
  return m;
}

}  // namespace

struct SpectrumComputer::Fft {
  double* in = nullptr;
  fftw_complex* out = nullptr;
  fftw_plan plan = nullptr;

  explicit Fft(std::size_t n) {
    std::lock_guard<std::mutex> lock(plannerMutex());
    in = fftw_alloc_real(n);
    out = fftw_alloc_complex(n / 2 + 1);
    if (in && out) {
      plan = fftw_plan_dft_r2c_1d(static_cast<int>(n), in, out, FFTW_ESTIMATE);
    }
  }
  ~Fft() {
    std::lock_guard<std::mutex> lock(plannerMutex());
    if (plan) fftw_destroy_plan(plan);
    fftw_free(out);
    fftw_free(in);
  }
  Fft(const Fft&) = delete;
  Fft& operator=(const Fft&) = delete;
};

SpectrumComputer::SpectrumComputer(const SpectrumConfig& config) : config_(config) {
  const std::size_t n = config.numPoints;
  if (n < 4 || (n & (n - 1)) != 0 || n > 32768) {
    throw std::invalid_argument("FFT length must be a power of two from 4 to 32768 (it travels as 16 bits)");
  }
  if (config.hop == 0 || config.accumulations == 0) {
    throw std::invalid_argument("hop and accumulations must be positive");
  }
  numBins_ = config.numBins == 0 ? n / 2 : config.numBins;
  if (numBins_ > n / 2) throw std::invalid_argument("at most half the FFT length in bins");

  window_.resize(n);
  double sum = 0;
  for (std::size_t i = 0; i < n; ++i) {
    // Periodic Hann: the FFT sees it as one period, so a bin-centred sine leaks into its
    // two neighbours only.
    window_[i] = 0.5 - 0.5 * std::cos(2.0 * kPi * static_cast<double>(i) / static_cast<double>(n));
    sum += window_[i];
  }
  amplitudeScale_ = 2.0 / sum;
  sum_.assign(numBins_, 0.0);
  pending_.reserve(n);
  fft_ = std::make_unique<Fft>(n);
  if (!fft_->plan) throw std::runtime_error("cannot plan the FFT");
}

SpectrumComputer::~SpectrumComputer() = default;

uint8 SpectrumComputer::levelByte(double power, double refLevel) {
  if (!(power > 0)) return 0;
  const double level = 10.0 * std::log10(power) - refLevel;
  return static_cast<uint8>(std::lround(std::clamp(level, 0.0, 255.0)));
}

void SpectrumComputer::push(const int32_t* samples, std::size_t n, std::size_t stride) {
  const std::size_t length = config_.numPoints;
  for (std::size_t i = 0; i < n; ++i, samples += stride) {
    if (skip_ > 0) {
      --skip_;
      ++pendingFirst_;
      continue;
    }
    pending_.push_back(static_cast<double>(*samples));
    if (pending_.size() < length) continue;

    runFft();
    if (config_.hop >= length) {
      skip_ = config_.hop - length;
      pendingFirst_ += length;
      pending_.clear();
    } else {
      pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(config_.hop));
      pendingFirst_ += config_.hop;
    }
  }
}

void SpectrumComputer::runFft() {
  const std::size_t length = config_.numPoints;
  for (std::size_t i = 0; i < length; ++i) fft_->in[i] = pending_[i] * window_[i];
  fftw_execute(fft_->plan);

  if (summed_ == 0) accumFirst_ = pendingFirst_;
  for (std::size_t k = 0; k < numBins_; ++k) {
    const double re = fft_->out[k][0] * amplitudeScale_;
    const double im = fft_->out[k][1] * amplitudeScale_;
    sum_[k] += re * re + im * im;
  }
  if (++summed_ < config_.accumulations) return;

  Spectrum s;
  s.firstSample = accumFirst_;
  s.levels.resize(numBins_);
  const double mean = 1.0 / static_cast<double>(summed_);
  for (std::size_t k = 0; k < numBins_; ++k) {
    s.levels[k] = levelByte(sum_[k] * mean, config_.refLevel);
  }
  ready_.push_back(std::move(s));
  std::fill(sum_.begin(), sum_.end(), 0.0);
  summed_ = 0;
}

bool SpectrumComputer::pop(Spectrum& out) {
  if (ready_.empty()) return false;
  out = std::move(ready_.front());
  ready_.pop_front();
  return true;
}

}  // namespace velsim
