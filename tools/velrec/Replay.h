#pragma once
// Recording a capture again: the bytes velrec --capture saved, connection by connection, go
// through the same recording as live bytes do, so the files come out the same.

#include "Session.h"

#include <veliface/device/VelDevice.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace velrec {

/// The capture files of one connection (an empty path where the channel has none).
struct CapturedConnection {
  int number = 1;                   ///< 1 for the first connection
  std::filesystem::path control;    ///< control channel bytes
  std::filesystem::path waveform;   ///< waveform stream bytes
  std::filesystem::path spectrum;   ///< spectrum stream bytes
};

/// The connections captured in `dir`, in order; empty with `error` (path and reason) when
/// there are none. A single file stands for the waveform stream of one connection.
std::vector<CapturedConnection> capturedConnections(const std::filesystem::path& dir, std::string& error);

/// The device as its enquiry answer in a control capture describes it, or null when the
/// capture holds none.
std::shared_ptr<VelDevice> capturedDevice(const std::filesystem::path& control);

/// Records `connections` into `session`, a lost connection between each; false with `error`
/// when a file cannot be read or no waveform stream decoded from them.
bool replayConnections(const std::vector<CapturedConnection>& connections, Session& session, std::string& error);

}  // namespace velrec
