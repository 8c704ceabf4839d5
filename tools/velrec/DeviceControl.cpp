#include "DeviceControl.h"

#include "Network.h"

#include <veliface/common/VelCommand.h>
#include <veliface/host/Commands.h>
#include <veliface/host/ControlSession.h>
#include <veliface/host/JobSettings.h>
#include <veliface/settings/VelJobSetup.h>
#include <veliface/vocabulary/DeviceText.h>

#include <ctime>
#include <algorithm>

namespace velrec {

DeviceControl::DeviceControl(ControlLink& link, Console& console, Capture* capture)
    : link_(link), console_(console), capture_(capture) {}

namespace {

veliface::host::HostTime hostNow() {
  return std::chrono::duration_cast<veliface::host::HostTime>(std::chrono::steady_clock::now().time_since_epoch());
}

}  // namespace

std::shared_ptr<VelControlMessage> DeviceControl::request(std::shared_ptr<VelControlMsgPayload> cmd,
                                                          int tries, std::chrono::milliseconds timeout) {
  // The session frames, checks and decodes; this loop only moves bytes and keeps time.
  veliface::host::ControlSession session({tries, timeout});
  session.start(std::move(cmd), hostNow());
  std::vector<uint8> buf(8192);
  while (session.waiting()) {
    if (stopRequested() || link_.closed()) return nullptr;
    const std::vector<uint8> out = session.takeOutgoing();
    if (!out.empty() && !link_.send(out)) return nullptr;
    const auto left = std::max(session.deadline() - hostNow(), veliface::host::HostTime(0));
    const std::size_t n = link_.receive(buf.data(), buf.size(), left);
    if (n > 0) {
      if (capture_) capture_->write(Channel::Control, buf.data(), n);
      session.receive(buf.data(), n, hostNow());
    }
    session.tick(hostNow());
    for (const auto& note : session.takeNotes()) console_.log(note.text);
  }
  if (session.status() != veliface::host::ControlStatus::Answered) {
    console_.log(std::string("control request failed: ") + veliface::host::controlStatusText(session.status()) +
                 " after " + std::to_string(session.tries()) + " tries");
    return nullptr;
  }
  return session.answer();
}

std::shared_ptr<MavDevice> DeviceControl::enquire() {
  const auto id = veliface::host::identify(request(veliface::host::enquireRequest()));
  if (!id) return nullptr;
  console_.out("device " + id->description);
  return id->device;
}

bool DeviceControl::setupJob(const std::vector<std::string>& settings, std::string& error) {
  JobTagMap tags;
  if (!veliface::host::parseJobSettings(settings, tags, error)) return false;
  const auto msg = request(veliface::host::jobSetupRequest(tags));  // owns the answer
  const auto* answer = veliface::host::answerAs<VelJobSetupCmd>(msg);
  if (!answer) {
    error = "no answer to the job setup";
    return false;
  }
  const auto outcome = veliface::host::judgeJobSetup(tags, *answer);
  if (outcome.rejected) {
    // One clean line per setting the device said something about.
    for (const auto& v : outcome.settings) {
      if (!v.accepted && v.reason.find("accepted") == std::string::npos && v.reason != "not checked by the device")
        console_.out(VelJobSettingsTag::keyName(v.key) + ": " + veliface::escapeDeviceText(v.reason) + " (device refused)");
    }
    error = "the device refused the job: " + veliface::escapeDeviceText(outcome.error);
    return false;
  }
  for (const auto& v : outcome.settings) {
    if (v.accepted) console_.out("job accepted: " + v.sent);
  }
  if (!outcome.confirmed) console_.log("warning: " + veliface::escapeDeviceText(outcome.error) + "; recording anyway");
  return true;
}

bool DeviceControl::setClock() {
  // The clock field is 32-bit seconds since 1970 UTC, as the device keeps its time.
  const auto now = static_cast<std::int32_t>(std::time(nullptr));
  if (!request(veliface::host::setTimeRequest(now))) return false;
  console_.out("device clock set to " + std::to_string(now) + " (seconds since 1970 UTC)");
  return true;
}

}  // namespace velrec
