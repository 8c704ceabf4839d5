#include "DeviceControl.h"

#include <sim/SimDevice.h>

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/Crc16.h>
#include <veliface/common/VelCommand.h>
#include <veliface/control/VelControlProcessor.h>
#include <veliface/control/VelEnquireCmd.h>
#include <veliface/control/VelSmallCmd.h>
#include <veliface/device/MavDevice.h>
#include <veliface/device/VelDeviceType.h>
#include <veliface/settings/VelJobSettingsTag.h>
#include <veliface/settings/VelJobSetup.h>

#include <ctime>
#include <stdexcept>

namespace velrec {

bool SimLink::send(const std::vector<uint8>& frame) {
  const velsim::Bytes reply = device_.handleControl(frame.data(), frame.size());
  pending_.insert(pending_.end(), reply.begin(), reply.end());
  return true;
}

std::size_t SimLink::receive(uint8* buf, std::size_t max, std::chrono::milliseconds) {
  const std::size_t n = std::min(max, pending_.size());
  std::copy_n(pending_.begin(), n, buf);
  pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(n));
  return n;
}

DeviceControl::DeviceControl(ControlLink& link, Console& console, Capture* capture)
    : link_(link), console_(console), capture_(capture) {}

namespace {

// Whether `raw` holds a whole response frame of `code` ('*', code, length u16 LE, payload,
// CRC u16 LE over header and payload) whose CRC is right. The parser skips the CRC of most
// responses unread, so a damaged answer would otherwise be taken as it is.
enum class CrcCheck { Good, Bad, Incomplete };

CrcCheck checkResponseCrc(const std::vector<uint8>& raw, uint8 code) {
  for (std::size_t i = 0; i + 4 <= raw.size(); ++i) {
    if (raw[i] != '*' || raw[i + 1] != code) continue;
    const std::size_t len = raw[i + 2] | static_cast<std::size_t>(raw[i + 3]) << 8;
    if (i + 4 + len + 2 > raw.size()) return CrcCheck::Incomplete;
    const uint16 sent = static_cast<uint16>(raw[i + 4 + len] | raw[i + 5 + len] << 8);
    return sent == calculateCrc(&raw[i], 4 + len) ? CrcCheck::Good : CrcCheck::Bad;
  }
  return CrcCheck::Incomplete;
}

}  // namespace

std::shared_ptr<VelControlMessage> DeviceControl::request(std::shared_ptr<VelControlMsgPayload> cmd,
                                                          int tries, std::chrono::milliseconds timeout) {
  const uint8 code = cmd->commandCode();
  // A frame is at most a 16-bit payload plus header and CRC.
  std::vector<uint8> frame(65536 + 16);
  uint64 len = 0;
  VelControlMessage(std::move(cmd)).serialize(&len, frame.data());
  frame.resize(static_cast<std::size_t>(len));

  std::vector<uint8> buf(8192);
  std::vector<uint8> raw;  // this attempt's bytes, for the CRC check
  for (int attempt = 0; attempt < tries; ++attempt) {
    // Each attempt starts clean: a late or damaged answer to the last one must not count.
    VelControlProcessor parser;
    CircularByteBuffer ring(1 << 17);
    raw.clear();
    if (!link_.send(frame)) return nullptr;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::shared_ptr<VelControlMessage> answer;
    bool bad = false;
    while (!bad && std::chrono::steady_clock::now() < deadline) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      const std::size_t n = link_.receive(buf.data(), std::min(buf.size(), ring.freeSpace()), left);
      if (n == 0) break;
      if (capture_) capture_->write(Channel::Control, buf.data(), n);
      raw.insert(raw.end(), buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(n));
      ring.write(buf.data(), n);
      while (!answer) {
        auto msg = parser.pump(ring);
        if (!msg) break;
        if (msg->payload() && msg->payload()->commandCode() == code) answer = msg;
      }
      if (!answer) continue;
      // The answer is decoded before its CRC has arrived: wait for the two bytes.
      const CrcCheck crc = checkResponseCrc(raw, code);
      if (crc == CrcCheck::Good) return answer;
      bad = crc == CrcCheck::Bad;
    }
    if (attempt + 1 < tries) {
      console_.log(bad ? "bad CRC on the answer of command " + std::to_string(code) + ", asking again"
                       : "no answer from the device, asking again");
    }
  }
  return nullptr;
}

std::shared_ptr<MavDevice> DeviceControl::enquire() {
  const auto msg = request(std::make_shared<VelEnquireCmd>());
  const auto* enq = msg ? dynamic_cast<const VelEnquireCmd*>(msg->payload().get()) : nullptr;
  if (!enq) return nullptr;
  const auto type = static_cast<VelDeviceType>(enq->devType());
  console_.out("device " + VelUtil::deviceTypeStr(type) + " serial " + std::to_string(enq->serial()) +
               " firmware " + enq->firmwareVer() + " built " + enq->buildDate() + " status " +
               std::to_string(enq->status()));
  auto device = MavDevice::createDevice(type);
  if (device) device->updateDeviceInfo(*enq);
  return device;
}

bool DeviceControl::setupJob(const std::vector<std::string>& settings, std::string& error) {
  JobTagMap tags;
  for (const std::string& s : settings) {
    std::shared_ptr<VelJobSettingsTag> tag;
    try {
      tag = VelJobSettingsTag::fromString("$" + s);
    } catch (const std::exception&) {
      error = "the value of setting " + s + " is not a number";
      return false;
    }
    if (!tag) {
      error = "unknown setting " + s + " (expected NAME=VALUE, e.g. WAVE_SAMPLE_RATE=96000)";
      return false;
    }
    tags[tag->tagKey()] = tag;
  }
  const auto msg = request(std::make_shared<VelJobSetupCmd>(tags));
  const auto* answer = msg ? dynamic_cast<const VelJobSetupCmd*>(msg->payload().get()) : nullptr;
  if (!answer) {
    error = "no answer to the job setup";
    return false;
  }
  if (answer->isError()) {
    error = answer->error() ? answer->error()->toString() : "Job Setup Error";
    return false;
  }
  for (const auto& [key, tag] : answer->jobSetup()) {
    (void)key;
    console_.out("job accepted: " + tag->toString());
  }
  return true;
}

bool DeviceControl::setClock() {
  // The clock field is 32-bit seconds since 1970 UTC, as the device keeps its time.
  const auto now = static_cast<std::int32_t>(std::time(nullptr));
  if (!request(std::make_shared<VelSetTimeCmd>(now))) return false;
  console_.out("device clock set to " + std::to_string(now) + " (seconds since 1970 UTC)");
  return true;
}

}  // namespace velrec
