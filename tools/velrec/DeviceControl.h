#pragma once
// The control-channel conversation velrec has with a device before it records: who are you,
// take this job, set your clock. The library's control session frames, checks and decodes;
// this side only moves bytes over a link and keeps time.

#include "Console.h"
#include "Session.h"

#include <mavcommon/MavTypes.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

class MavDevice;
class VelControlMessage;
class VelControlMsgPayload;
class VelEnquireCmd;

namespace velrec {

/// A control channel: requests out, response bytes back.
class ControlLink {
 public:
  virtual ~ControlLink() = default;
  /// Sends one request frame; false when the channel is gone.
  virtual bool send(const std::vector<uint8>& frame) = 0;
  /// Waits up to `timeout` for bytes; returns how many were put at `buf` (0: none came).
  virtual std::size_t receive(uint8* buf, std::size_t max, std::chrono::milliseconds timeout) = 0;
  /// True once the other end closed the channel.
  virtual bool closed() const { return false; }
};

/// Requests and their responses over a control link. Every received byte goes to the
/// capture (when there is one).
class DeviceControl {
 public:
  /// Over `link`; `capture` may be null. Both must outlive this object.
  DeviceControl(ControlLink& link, Console& console, Capture* capture);

  /// Sends `cmd` and waits for the response of the same code, sending again after a silent
  /// `timeout` or at once when the response's CRC is wrong; null after `tries`.
  std::shared_ptr<VelControlMessage> request(std::shared_ptr<VelControlMsgPayload> cmd,
                                             int tries = 6,
                                             std::chrono::milliseconds timeout = std::chrono::milliseconds(2000));

  /// Enquires and prints the identity; returns the device model filled from it, or null
  /// when the device did not answer.
  std::shared_ptr<MavDevice> enquire();
  /// Sends a job setup of the given "NAME=VALUE" settings and prints the device's verdict.
  /// False when a setting cannot be parsed (`error` says why), the device rejected the job
  /// or did not answer.
  bool setupJob(const std::vector<std::string>& settings, std::string& error);
  /// Sets the device clock to the host's time (seconds since 1970 UTC); false without answer.
  bool setClock();

 private:
  ControlLink& link_;
  Console& console_;
  Capture* capture_;
};

}  // namespace velrec
