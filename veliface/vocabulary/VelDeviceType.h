#pragma once
/// \file Device kinds (a signed byte on the wire) and their display texts.

#include <mavcommon/MavTypes.h>

#include <string>

/// The kind of a device. The underlying type is signed: 0xFF ("Unsupported device") is -1
/// and sorts before 0 ("No device").
enum VelDeviceType : signed char {
  DEV_UNSUPPORTED = -1,  ///< "Unsupported device"
  DEV_NONE = 0,          ///< "No device"
  DEV_VOCAN_LF = 1,      ///< "Vocan LF"
  DEV_AUREL_LF = 2,      ///< "Aurel LF"
  DEV_QBIF = 3,          ///< "QBIF"
  DEV_VOCAN = 4,         ///< "Vocan"
  DEV_AUREL_HF = 5,      ///< "Aurel HF"
  DEV_VOCAN_HF = 6,      ///< "Vocan HF"
  DEV_AUREL_AF = 7,      ///< "Aurel AF"
  DEV_ARRAY_HUB = 8,     ///< "Array Hub"
  DEV_HUB_UPLINK = 9,    ///< "Hub Uplink"
  DEV_TETHRA = 10,       ///< "Tethra"
  DEV_RELAY_HUB = 11,    ///< "Relay Hub"
  DEV_UPLINK_CARD = 12,  ///< "Uplink Card"
  DEV_POWER_MODULE = 13, ///< "Power Module"
  DEV_RELAY_NODE = 14,   ///< "Relay Node"
  DEV_ROWAN = 15,        ///< "Rowan"
  DEV_FCR = 16,          ///< "FCR"
  DEV_AUREL_MF = 0x41,   ///< "Aurel MF"
  DEV_BB = 0x42,         ///< "BB"
  DEV_FFT_TXT_FILE = 0x43,  ///< "FFT Txt File, " (data read from a spectrum text file)
  DEV_WAV_BIN_FILE = 0x44   ///< "WAV Bin File, " (data read from a WAV file)
};

namespace VelUtil {
/// Display text of a device type, "Unrecognized Device" for values without one.
std::string deviceTypeStr(VelDeviceType type);
/// The first type (in signed order, so 0xFF first) whose text equals `text` exactly;
/// 0xFF when none does.
VelDeviceType deviceType(const std::string& text);
}  // namespace VelUtil
