#include <veliface/discovery/VelMarcoProcessor.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

// "*", code, length, payload, then the given CRC bytes (never checked by the processor).
Bytes frame(uint8 code, const Bytes& payload, uint8 crc0 = 0x00, uint8 crc1 = 0x00) {
  Bytes f;
  f.reserve(payload.size() + 6);
  f.push_back(0x2A);
  f.push_back(code);
  f.push_back(static_cast<uint8>(payload.size() & 0xFF));
  f.push_back(static_cast<uint8>(payload.size() >> 8));
  f.insert(f.end(), payload.begin(), payload.end());
  f.push_back(crc0);
  f.push_back(crc1);
  return f;
}

const Bytes kEnquiryPayload = {0x05, 0xD2, 0x04,                    // Aurel HF, serial 1234
                               0x00, 0x11, 0x22, 0x33, 0x44, 0x55,  // MAC
                               0x01,                                // address mode
                               0x0A, 0x01, 0xA8, 0xC0,              // 192.168.1.10
                               0x00, 0xFF, 0xFF, 0xFF,              // 255.255.255.0
                               0x01, 0x01, 0xA8, 0xC0,              // 192.168.1.1
                               0x04, 0x04, 0x08, 0x08};             // 8.8.4.4
const char* const kEnquiryText =
    "W type=5 serial=1234 mac=00:11:22:33:44:55 mode=1 ip=192.168.1.10 mask=255.255.255.0 "
    "gw=192.168.1.1 dns=8.8.4.4";

const Bytes kChangePayload = {0x0F, 0x09, 0x00, 0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E,
                              0x01, 0x00,  // error 1
                              0x00, 0x32, 0x00, 0x00, 0x0A, 0x00, 0x00, 0xFF, 0xFF,
                              0x01, 0x00, 0x00, 0x0A, 0x02, 0x00, 0x00, 0x0A};
const char* const kChangeText =
    "X type=15 serial=9 mac=00:1A:2B:3C:4D:5E mode=0 ip=10.0.0.50 mask=255.255.0.0 "
    "gw=10.0.0.1 dns=10.0.0.2 error=1";

const std::string kResetPayload = "MAC=AB:CD:EF:01:23:45";
const char* const kResetText = "Y mac=AB:CD:EF:01:23:45";

std::string describe(const std::shared_ptr<VelMarcoCommand>& m) {
  if (!m) return "none";
  std::ostringstream os;
  const auto p = m->payload();
  os << static_cast<char>(p->commandCode());
  if (const auto* d = dynamic_cast<const VelMarcoDevicePayload*>(p.get())) {
    const auto& n = d->netInfo();
    os << " type=" << static_cast<int>(d->deviceType()) << " serial=" << d->serialNo()
       << " mac=" << n.macAddr().toString() << " mode=" << static_cast<int>(n.addrMode())
       << " ip=" << n.ipAddr().toString() << " mask=" << n.subnetMask().toString()
       << " gw=" << n.gateway().toString() << " dns=" << n.dns().toString();
  }
  if (const auto* c = dynamic_cast<const VelChangeNetworkCmd*>(p.get())) os << " error=" << c->error();
  if (const auto* r = dynamic_cast<const VelResetDeviceCmd*>(p.get())) {
    os << " mac=" << r->macAddress().toString();
  }
  return os.str();
}

// Writes `input` in pieces whose sizes `nextPiece` chooses (at most what fits), pumping
// after each piece. A small ring makes frames wrap around its end.
std::vector<std::string> decodeInPieces(const Bytes& input,
                                        const std::function<std::size_t()>& nextPiece,
                                        std::size_t capacity = 48) {
  VelMarcoProcessor proc;
  CircularByteBuffer buf(capacity);
  std::vector<std::string> out;
  for (std::size_t pos = 0; pos < input.size();) {
    const std::size_t n = std::min({nextPiece(), input.size() - pos, buf.freeSpace()});
    EXPECT_EQ(buf.write(input.data() + pos, n), n);
    pos += n;
    while (auto m = proc.pump(buf)) out.push_back(describe(m));
  }
  EXPECT_EQ(buf.bytesAvailable(), 0u);
  return out;
}

// A processor and its receive buffer.
struct Rig {
  explicit Rig(std::size_t capacity = 256) : buf(capacity) {}
  std::shared_ptr<VelMarcoCommand> feed(const Bytes& bytes) {
    EXPECT_EQ(buf.write(bytes.data(), bytes.size()), bytes.size());
    return proc.pump(buf);
  }
  VelMarcoProcessor proc;
  CircularByteBuffer buf;
};

Bytes concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

}  // namespace

TEST(VelMarcoProcessor, EnquiryResponseDecodesWhateverItsCrc) {
  for (const uint8 crc : {0x00, 0xFF, 0x5A}) {
    LogCapture log;
    Rig rig;
    const auto m = rig.feed(frame(0x57, kEnquiryPayload, crc, crc));
    ASSERT_NE(m, nullptr);
    EXPECT_NE(dynamic_cast<const VelNetworkEnqireCmd*>(m->payload().get()), nullptr);
    EXPECT_EQ(describe(m), kEnquiryText);
    EXPECT_EQ(m, rig.proc.message());
    EXPECT_TRUE(rig.proc.isEndState());
    EXPECT_EQ(rig.buf.bytesAvailable(), 0u);
    EXPECT_TRUE(log.lines().empty());
  }
}

TEST(VelMarcoProcessor, ShortBuffersWaitWithoutLosingTheFrame) {
  const Bytes f = frame(0x57, kEnquiryPayload);
  Rig rig;
  EXPECT_EQ(rig.feed(Bytes(f.begin(), f.begin() + 3)), nullptr);
  EXPECT_TRUE(rig.proc.outOfData());
  EXPECT_EQ(rig.proc.state(), &VelMarcoProcessor::st_sync);
  EXPECT_EQ(rig.buf.bytesAvailable(), 3u);

  EXPECT_EQ(rig.feed(Bytes(f.begin() + 3, f.end() - 1)), nullptr);  // one CRC byte short
  EXPECT_EQ(rig.proc.state(), &VelMarcoProcessor::st_crc);
  EXPECT_EQ(rig.buf.bytesAvailable(), 1u);
  EXPECT_EQ(describe(rig.feed({f.back()})), kEnquiryText);
}

TEST(VelMarcoProcessor, UnknownTypeIsLoggedAsCharacterAndSkipped) {
  LogCapture log;
  Rig rig;
  EXPECT_EQ(rig.feed(frame(0x5A, {0x01, 0x2A, 0x57}, 0x11, 0x22)), nullptr);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"Unknown Marco message received! Code=Z"});
  EXPECT_EQ(rig.proc.message(), nullptr);
  // Header and payload are consumed; the two CRC bytes wait as the start of a new search.
  EXPECT_EQ(rig.proc.state(), &VelMarcoProcessor::st_sync);
  EXPECT_EQ(rig.buf.bytesAvailable(), 2u);
}

TEST(VelMarcoProcessor, JunkBeforeAFrameMisreadsIt) {
  LogCapture log;
  // One junk byte: the "*" is the second byte of the first pair and is skipped; the scan
  // runs through the frame (which holds no other "*") until three bytes are left.
  Rig one;
  EXPECT_EQ(one.feed(concat({{0x00}, frame(0x57, kEnquiryPayload, 0x12, 0x34)})), nullptr);
  EXPECT_EQ(one.proc.message(), nullptr);
  EXPECT_EQ(one.proc.state(), &VelMarcoProcessor::st_sync);
  EXPECT_EQ(one.buf.bytesAvailable(), 3u);

  // Two junk bytes: the "*" lands in the start position while the type position keeps the
  // rejected 'Z'; the real type 'W' and the length's low byte 26 make the length 0x1A57.
  Rig two(0x2000);
  const Bytes in = concat({{'Z', 'Q'}, frame(0x57, kEnquiryPayload)});
  EXPECT_EQ(two.feed(in), nullptr);
  EXPECT_EQ(two.proc.state(), &VelMarcoProcessor::st_readPayload);
  ASSERT_EQ(two.buf.bytesAvailable(), in.size() - 5);
  EXPECT_EQ(two.feed(Bytes(0x1A57 - two.buf.bytesAvailable() - 1, 0x00)), nullptr);
  EXPECT_TRUE(log.lines().empty());  // one byte short of the misread length
  EXPECT_EQ(two.feed({0x00}), nullptr);
  EXPECT_EQ(log.lines(), std::vector<std::string>{"Unknown Marco message received! Code=Z"});
  EXPECT_EQ(two.proc.message(), nullptr);
}

TEST(VelMarcoProcessor, CleanFramesDecodeTheSameForEverySplit) {
  const Bytes input = concat({frame(0x57, kEnquiryPayload, 0xAA, 0xBB), frame(0x58, kChangePayload),
                              frame(0x59, Bytes(kResetPayload.begin(), kResetPayload.end())),
                              frame(0x57, kEnquiryPayload, 0x2A, 0x2A)});
  const std::vector<std::string> expected = {kEnquiryText, kChangeText, kResetText, kEnquiryText};

  EXPECT_EQ(decodeInPieces(input, [&] { return input.size(); }, input.size()), expected);
  for (std::size_t piece : {1, 2, 3, 5, 7, 13}) {
    EXPECT_EQ(decodeInPieces(input, [piece] { return piece; }), expected) << "pieces of " << piece;
  }
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<std::size_t> size(1, 40);
    EXPECT_EQ(decodeInPieces(input, [&] { return size(rng); }), expected) << "seed " << seed;
  }
}
