#include "Capture.h"

#include "Describe.h"

#include <veliface/veliface.h>

#include <istream>
#include <iterator>
#include <sstream>
#include <ostream>
#include <vector>

namespace veldump {

namespace {

// Reads from `in` until `buf` is full or the input ends; returns false at the end.
bool topUp(std::istream& in, CircularByteBuffer& buf, std::uint64_t& total) {
  std::vector<uint8_t> piece(64 * 1024);
  while (buf.freeSpace() > 0 && in) {
    const std::size_t want = buf.freeSpace() < piece.size() ? buf.freeSpace() : piece.size();
    in.read(reinterpret_cast<char*>(piece.data()), static_cast<std::streamsize>(want));
    const auto got = static_cast<std::size_t>(in.gcount());
    buf.write(piece.data(), got);
    total += got;
  }
  return static_cast<bool>(in);
}

// Runs `processor` over the capture, handing each message to `onMessage`. The buffer is
// topped up before every run so that a run sees as much of the capture as fits: the
// stream processor drops what it has read when it runs dry while hunting for a marker.
template <class Processor, class OnMessage>
std::uint64_t drive(std::istream& in, std::size_t capacity, Processor& processor,
                    std::uint64_t& total, OnMessage onMessage) {
  CircularByteBuffer buf(capacity);
  bool more = true;
  for (;;) {
    if (more) more = topUp(in, buf, total);
    const std::size_t before = buf.bytesAvailable();
    if (auto m = processor.pump(buf)) {
      onMessage(*m);
      continue;
    }
    // Out of bytes: stop at the end of the input, or when a refill cannot add anything.
    if (!more || (buf.freeSpace() == 0 && buf.bytesAvailable() == before)) break;
  }
  return buf.bytesAvailable();
}

// Large enough for the longest frame of any channel (a 16-bit length plus header and CRC).
constexpr std::size_t kStreamBuffer = 1024 * 1024;

}  // namespace

CaptureSummary dumpCapture(std::istream& in, const CaptureOptions& options, std::ostream& out) {
  CaptureSummary sum;
  auto emit = [&](const Record& r) {
    auto kind = r.find("class");
    if (kind && std::holds_alternative<std::string>(*kind)) ++sum.byKind[std::get<std::string>(*kind)];
    ++sum.messages;
    out << (options.json ? toJson(r) : toText(r)) << '\n';
  };
  // The library's lines join the output while the capture is decoded, however that ends.
  const VelLog::SinkScope redirect([&](const std::string& line) {
    ++sum.logLines;
    if (options.json)
      out << "{\"log\":" << jsonQuote(line) << "}\n";
    else
      out << "# log: " << line << '\n';
  });

  switch (options.channel) {
    case Channel::Control: {
      // The control processor drops a response that is only partly in the buffer (on a live
      // line the rest is then late), so a capture is handed over whole: control captures
      // are small, and every frame then decodes as it would have on a timely line.
      std::vector<char> all{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
      std::istringstream whole(std::string(all.begin(), all.end()));
      VelControlProcessor p;
      sum.undecoded = drive(whole, all.size() + 1, p, sum.bytes, [&](const VelControlMessage& m) {
        if (m.payload()) emit(describeControl(*m.payload()));
      });
      break;
    }
    case Channel::Stream: {
      VelStreamProcessor p(options.streamType);
      sum.undecoded = drive(in, kStreamBuffer, p, sum.bytes, [&](const VelStreamMessage& m) {
        if (m.payload()) emit(describeStream(*m.payload()));
      });
      break;
    }
    case Channel::Discovery: {
      VelMarcoProcessor p;
      sum.undecoded = drive(in, kStreamBuffer, p, sum.bytes, [&](const VelMarcoCommand& m) {
        if (m.payload()) emit(describeDiscovery(*m.payload()));
      });
      break;
    }
  }
  out << summaryLine(sum, options.json) << '\n';
  return sum;
}

std::string summaryLine(const CaptureSummary& s, bool json) {
  std::string out;
  if (json) {
    out = "{\"summary\":{\"messages\":" + std::to_string(s.messages) + ",\"kinds\":{";
    bool first = true;
    for (const auto& kv : s.byKind) {
      out += (first ? "" : ",") + jsonQuote(kv.first) + ":" + std::to_string(kv.second);
      first = false;
    }
    out += "},\"logLines\":" + std::to_string(s.logLines) + ",\"bytes\":" +
           std::to_string(s.bytes) + ",\"undecoded\":" + std::to_string(s.undecoded) + "}}";
    return out;
  }
  out = "# summary: messages=" + std::to_string(s.messages);
  for (const auto& kv : s.byKind) out += " " + kv.first + "=" + std::to_string(kv.second);
  out += " logLines=" + std::to_string(s.logLines) + " bytes=" + std::to_string(s.bytes) +
         " undecoded=" + std::to_string(s.undecoded);
  return out;
}

}  // namespace veldump
