#include "Replay.h"

#include <common/CaptureName.h>
#include <veliface/host/Commands.h>
#include <veliface/host/ControlSession.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>

namespace velrec {

namespace fs = std::filesystem;
using veliface::host::HostTime;

namespace {

// Every byte of `path`, or nothing with `error` set.
bool readAll(const fs::path& path, std::vector<uint8>& out, std::string& error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = path.string() + ": " + std::strerror(errno);
    return false;
  }
  out.assign(std::istreambuf_iterator<char>(in), {});
  return true;
}

}  // namespace

std::vector<CapturedConnection> capturedConnections(const fs::path& dir, std::string& error) {
  std::error_code ec;
  if (fs::is_regular_file(dir, ec)) return {CapturedConnection{1, {}, dir, {}}};
  if (!fs::is_directory(dir, ec)) {
    error = dir.string() + ": " + (ec ? ec.message() : std::string("no such capture directory or file"));
    return {};
  }
  // control.bin, waveform.2.bin, ...: the channel, then the connection's number after the first.
  std::map<int, CapturedConnection> byNumber;
  for (const auto& e : fs::directory_iterator(dir, ec)) {
    const auto name = tools::parseCaptureFileName(e.path().filename().string());
    if (!name || name->channel == "discovery") continue;
    CapturedConnection& c = byNumber[name->connection];
    c.number = name->connection;
    (name->channel == "control" ? c.control : name->channel == "waveform" ? c.waveform : c.spectrum) = e.path();
  }
  std::vector<CapturedConnection> out;
  for (auto& [number, c] : byNumber)
    if (!c.waveform.empty() || !c.spectrum.empty()) out.push_back(c);
  if (out.empty()) error = dir.string() + ": no waveform.bin or spectrum.bin in it (velrec --capture DIR writes them)";
  return out;
}

std::shared_ptr<VelDevice> capturedDevice(const fs::path& control) {
  std::vector<uint8> bytes;
  std::string ignored;
  if (control.empty() || !readAll(control, bytes, ignored)) return nullptr;
  // The first answer in the capture is the enquiry's: velrec always asks that first.
  veliface::host::ControlSession session;
  session.start(veliface::host::enquireRequest(), HostTime(0));
  session.receive(bytes.data(), bytes.size(), HostTime(0));
  const auto identity = veliface::host::identify(session.answer());
  return identity ? std::dynamic_pointer_cast<VelDevice>(identity->device) : nullptr;
}

bool replayConnections(const std::vector<CapturedConnection>& connections, Session& session, std::string& error) {
  std::vector<uint8> bytes;
  for (std::size_t i = 0; i < connections.size(); ++i) {
    const CapturedConnection& c = connections[i];
    if (i > 0) session.noteReconnect();
    for (const auto& [path, ch] : {std::pair{c.waveform, Channel::Waveform}, std::pair{c.spectrum, Channel::Spectrum}}) {
      if (path.empty()) continue;
      if (!readAll(path, bytes, error)) return false;
      session.receive(ch, bytes.data(), bytes.size());
    }
    session.connectionLost(Channel::Waveform);
    session.connectionLost(Channel::Spectrum);
  }
  if (session.counters().waveSamples == 0) {
    error = (connections.empty() ? std::string("the capture") : connections.front().waveform.string()) +
            ": no waveform samples decode from it (is it a waveform stream capture?)";
    return false;
  }
  return true;
}

}  // namespace velrec
