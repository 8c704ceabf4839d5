#pragma once
/// \file One-byte control command codes (ASCII letters) and their display texts.

#include <mavcommon/MavTypes.h>

#include <string>

/// Control-channel command codes; a response carries the code of the command it answers.
enum VelCommandCode : uint8 {
  CMD_SET_TIME = 0x41,          ///< 'A' "SetTime"
  CMD_SET_BAUD = 0x42,          ///< 'B' "SetBaud"
  CMD_COLLECT_DATA = 0x43,      ///< 'C' "CollectData"
  CMD_JOB_SETUP = 0x44,         ///< 'D' "JobSetup"
  CMD_ENQUIRE = 0x45,           ///< 'E' "Enquire"
  CMD_ENQUIRE_SETUP = 0x46,     ///< 'F' "EnquireSetup"
  CMD_READ_FILE = 0x48,         ///< 'H' "ReadFile"
  CMD_WRITE_FILE = 0x49,        ///< 'I' "WriteFile"
  CMD_DELETE_FILE = 0x4A,       ///< 'J' "DeleteFile"
  CMD_DIR_LISTING = 0x4B,       ///< 'K' "DirListing"
  CMD_FILE_SIZE = 0x4C,         ///< 'L' "FileSize"
  CMD_RENAME_FILE = 0x4D,       ///< 'M' "RenameFile"
  CMD_COPY_FILE = 0x4E,         ///< 'N' "CopyFile"
  CMD_DELETE_FOLDER = 0x4F,     ///< 'O' "DeleteFolder"
  CMD_STOP_STREAMS = 0x51,      ///< 'Q' "StopStreams"
  CMD_ENQUIRE_TRIGGERS = 0x52,  ///< 'R' "EnquireTriggers"
  CMD_SETUP_TRIGGER = 0x53,     ///< 'S' "SetupTrigger"
  CMD_REMOVE_TRIGGER = 0x54,    ///< 'T' "RemoveTrigger"
  CMD_CLEAR_TRIGGERS = 0x55,    ///< 'U' "ClearTriggers"
  CMD_RESET_PASSWD = 0x56,      ///< 'V' "ResetPasswd"
  CMD_RESET_DEVICE = 0x59,      ///< 'Y' "ResetDevice"
  CMD_ENQUIRE_BATT = 0x5A,      ///< 'Z' "EnqireBatt" (the devices' own spelling)
  CMD_ENQUIRE_SYNC = 0x5B       ///< '[' "EnquireSync"
};

/// Display texts and look-ups of the protocol's enumerations (one namespace, filled by
/// each subsystem for its own enumerations).
namespace VelUtil {
/// Display text of a command code, "Unrecognized Command" for codes without one.
std::string cmdCodeStr(VelCommandCode code);
}  // namespace VelUtil
