#include <veliface/files/internal/SpecLine.h>

#include <veliface/files/MavSpectrumFile.h>
#include <veliface/files/VelWideText.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using veliface::files::appendDataLine;

namespace {

// A random data line: floats from every corner of the type (signed zeros, subnormals,
// infinities, NaNs, values that round at the printed precision), negative counts, missing
// spectra and texts that are not ASCII or not even UTF-8.
class LineMaker {
 public:
  explicit LineMaker(unsigned seed) : rng_(seed) {}

  MavSpectrumFileData next() {
    MavSpectrumFileData d;
    d.setDataTime(std::uniform_int_distribution<long long>(-100000, 4000000000LL)(rng_));
    static const char* const kComments[] = {"", "ok", "depth 12 m", "s\xC3\xBC\xC3\x9F", "\xFF\xFE", "\xE0\x80\x80",
                                            "\xF4\x90\x80\x80", "tab\tin"};
    d.setComment(kComments[pick(std::size(kComments))]);
    d.setTemperature(anyFloat());
    d.setHumidity(anyFloat());
    d.setSeqNum(static_cast<int32_t>(rng_()));
    const int bins = std::uniform_int_distribution<int>(-3, 40)(rng_);
    if (pick(10) == 0) {
      d.setSpectrum(nullptr, static_cast<int16_t>(bins));
      return d;
    }
    std::shared_ptr<uint8[]> levels(new uint8[41]);
    for (int i = 0; i < 41; ++i) levels[i] = static_cast<uint8>(rng_());
    d.setSpectrum(levels, static_cast<int16_t>(bins));
    return d;
  }

 private:
  std::size_t pick(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(rng_); }
  float anyFloat() {
    static const float kEdges[] = {0.0f, -0.0f, 0.005f, 0.125f, 2.5f, -1.5f, 0.045f, 1e-45f, 3.4028235e38f,
                                   std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::quiet_NaN()};
    switch (pick(3)) {
      case 0: return kEdges[pick(std::size(kEdges))];
      case 1: return std::uniform_real_distribution<float>(-60.0f, 120.0f)(rng_);
      default: {
        const uint32_t bits = static_cast<uint32_t>(rng_());
        float f;
        std::memcpy(&f, &bits, sizeof f);
        return f;
      }
    }
  }
  std::mt19937_64 rng_;
};

// What the stream-based formatting gives: the wide insertion, encoded as the file holds it.
std::string viaStream(const MavSpectrumFileData& d, const std::function<void(std::wostream&)>& state) {
  std::wostringstream os;
  state(os);
  os << d;
  return veliface::files::toUtf8(os.str());
}

struct State {
  const char* name;
  std::function<void(std::wostream&)> apply;
};

std::function<void(std::wostream&)> floats(std::ios_base::fmtflags field, std::streamsize precision) {
  return [=](std::wostream& os) {
    os.setf(field, std::ios_base::floatfield);
    os.precision(precision);
  };
}

struct CommaDecimal : std::numpunct<wchar_t> {
  wchar_t do_decimal_point() const override { return L','; }
};
struct Thousands : std::numpunct<wchar_t> {
  std::string do_grouping() const override { return "\3"; }
};

}  // namespace

// The writer's states come first: a fresh stream, the header's fixed notation with six
// decimals, and the two decimals the frequency line sets; the others guard the rest of the
// notation and precision range that the fast path claims.
TEST(SpecLine, MatchesTheStreamForRandomLinesInEveryFloatState) {
  const std::vector<State> states = {
      {"fresh stream", [](std::wostream&) {}},
      {"after the header", floats(std::ios_base::fixed, 6)},
      {"after the frequency line", floats(std::ios_base::fixed, 2)},
      {"fixed 0", floats(std::ios_base::fixed, 0)},
      {"fixed 40", floats(std::ios_base::fixed, 40)},
      {"scientific 0", floats(std::ios_base::scientific, 0)},
      {"scientific 9", floats(std::ios_base::scientific, 9)},
      {"general 0", floats(std::ios_base::fmtflags{}, 0)},
      {"general 1", floats(std::ios_base::fmtflags{}, 1)},
      {"general 17", floats(std::ios_base::fmtflags{}, 17)},
      {"decimal base set", [](std::wostream& os) { os << std::dec << std::fixed; }},
  };
  for (const State& state : states) {
    LineMaker make(42);
    std::wostringstream fmt;
    state.apply(fmt);
    for (int i = 0; i < 400; ++i) {
      const MavSpectrumFileData d = make.next();
      std::string line = "kept|";
      ASSERT_TRUE(appendDataLine(line, d, fmt)) << state.name;
      ASSERT_EQ(line, "kept|" + viaStream(d, state.apply)) << state.name << ", line " << i;
    }
  }
}

TEST(SpecLine, LeavesStatesItCannotReproduceToTheStream) {
  const std::vector<State> states = {
      {"showpos", [](std::wostream& os) { os << std::showpos; }},
      {"showpoint", [](std::wostream& os) { os << std::showpoint; }},
      {"uppercase", [](std::wostream& os) { os << std::uppercase << std::scientific; }},
      {"hexfloat", [](std::wostream& os) { os << std::hexfloat; }},
      {"hex integers", [](std::wostream& os) { os << std::hex; }},
      {"octal integers", [](std::wostream& os) { os << std::oct; }},
      {"width", [](std::wostream& os) { os.width(12); }},
      {"negative precision", [](std::wostream& os) { os.precision(-1); }},
      {"huge precision", floats(std::ios_base::fixed, 41)},
      {"decimal comma", [](std::wostream& os) { os.imbue(std::locale(os.getloc(), new CommaDecimal)); }},
      {"digit grouping", [](std::wostream& os) { os.imbue(std::locale(os.getloc(), new Thousands)); }},
  };
  LineMaker make(7);
  const MavSpectrumFileData d = make.next();
  for (const State& state : states) {
    std::wostringstream fmt;
    state.apply(fmt);
    std::string line = "kept";
    EXPECT_FALSE(appendDataLine(line, d, fmt)) << state.name;
    EXPECT_EQ(line, "kept") << state.name;
  }
}
