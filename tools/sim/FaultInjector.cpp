#include <sim/FaultInjector.h>

#include <algorithm>

namespace velsim {
namespace {

constexpr uint8 kMarker = 0x2A;

}  // namespace

FaultInjector::FaultInjector(const FaultConfig& config) : config_(config), rng_(config.seed) {}

void FaultInjector::maybeGarbage(Bytes& out) {
  if (config_.maxGarbage == 0 || !rng_.chance(config_.garbageRate)) return;
  const std::size_t n = rng_.between(1, config_.maxGarbage);
  for (std::size_t i = 0; i < n; ++i) {
    // Garbage never holds the frame marker: receivers resynchronise on it, so a marker in
    // the garbage would be a forged frame, not line noise.
    uint8 b = static_cast<uint8>(rng_.next());
    if (b == kMarker) b = static_cast<uint8>(b + 1);
    out.push_back(b);
  }
  garbage_ += n;
}

bool FaultInjector::controlResponse(const uint8* frame, std::size_t n, Bytes& out) {
  maybeGarbage(out);
  out.insert(out.end(), frame, frame + n);
  if (n < 2 || !rng_.chance(config_.crcCorruptRate)) return false;
  // A non-zero XOR on the CRC's high byte (the last byte) always changes the CRC.
  out.back() = static_cast<uint8>(out.back() ^ rng_.between(1, 0xFF));
  ++corrupted_;
  return true;
}

bool FaultInjector::streamFrame(const uint8* frame, std::size_t n, Bytes& out) {
  const bool isData = n >= 1 && frame[0] == static_cast<uint8>(StreamCode::Data);
  if (isData && rng_.chance(config_.dataDropRate)) {
    ++dropped_;
    return false;
  }
  maybeGarbage(out);
  out.insert(out.end(), frame, frame + n);
  return true;
}

std::vector<Bytes> FaultInjector::split(const uint8* data, std::size_t n) {
  std::vector<Bytes> pieces;
  if (n == 0) return pieces;
  const std::size_t count = rng_.between(1, std::max<std::size_t>(1, std::min(config_.maxPieces, n)));
  // count - 1 distinct cut points in 1..n-1.
  std::vector<std::size_t> cuts;
  while (cuts.size() + 1 < count) {
    const std::size_t c = rng_.between(1, n - 1);
    if (std::find(cuts.begin(), cuts.end(), c) == cuts.end()) cuts.push_back(c);
  }
  std::sort(cuts.begin(), cuts.end());
  cuts.push_back(n);
  std::size_t from = 0;
  for (std::size_t to : cuts) {
    pieces.emplace_back(data + from, data + to);
    from = to;
  }
  return pieces;
}

}  // namespace velsim
