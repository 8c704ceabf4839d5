#pragma once
/// \file Keys of the job-settings tags, per-tag verdicts and the value enumerations they carry.

#include <mavcommon/MavTypes.h>

#include <string>

/// Key of a job-settings tag (unsigned 16-bit on the wire). 0..20 are per-device settings,
/// 0x4000..0x400E array-hub settings, 0x8000 and 0x8002 the two member lists; 0x8001 is
/// unassigned. The enumerators carry the keys' text names.
enum JobTagKey : uint16 {
  AUX_PIN = 0,                   ///< "AUX_PIN"
  LOG_START_TIME = 1,            ///< "LOG_START_TIME"
  FFT_SAMPLE_RATE = 2,           ///< "FFT_SAMPLE_RATE"
  FFT_REF_LEVEL = 3,             ///< "FFT_REF_LEVEL"
  FFT_PTS_PER = 4,               ///< "FFT_PTS_PER"
  FFT_PTS_BTW = 5,               ///< "FFT_PTS_BTW"
  FFT_TYPE = 6,                  ///< "FFT_TYPE"
  FFT_ACCUM = 7,                 ///< "FFT_ACCUM"
  FFT_WEIGHT = 8,                ///< "FFT_WEIGHT"
  FFT_LOG_MODE = 9,              ///< "FFT_LOG_MODE"
  FFT_LOG_LENGTH = 10,           ///< "FFT_LOG_LENGTH"
  DUTY_CYCLE_TIME = 11,          ///< "DUTY_CYCLE_TIME"
  DUTY_RUN_TIME = 12,            ///< "DUTY_RUN_TIME"
  DUTY_IGNORE_TIME_CHANGE = 13,  ///< "DUTY_IGNORE_TIME_CHANGE"
  WAVE_SAMPLE_RATE = 14,         ///< "WAVE_SAMPLE_RATE"
  WAVE_BIT_DEPTH = 15,           ///< "WAVE_BIT_DEPTH"
  WAVE_GAIN = 16,                ///< "WAVE_GAIN"
  WAVE_ENDIAN = 17,              ///< "WAVE_ENDIAN"
  WAVE_LOG_MODE = 18,            ///< "WAVE_LOG_MODE"
  WAVE_LOG_LENGTH = 19,          ///< "WAVE_LOG_LENGTH"
  AUX_MSG = 20,                  ///< "AUX_MSG" (added after the others, hence the number)
  ARRAY_DEV_TYPE = 0x4000,         ///< "ARRAY_DEV_TYPE"
  ARRAY_CTRL_MODE = 0x4001,        ///< "ARRAY_CTRL_MODE"
  ARRAY_WAVE_LOG_MODE = 0x4002,    ///< "ARRAY_WAVE_LOG_MODE"
  ARRAY_FFT_LOG_MODE = 0x4003,     ///< "ARRAY_FFT_LOG_MODE"
  ARRAY_EPOCH_LOG_MODE = 0x4004,   ///< "ARRAY_EPOCH_LOG_MODE"
  ARRAY_WAVE_LOG_LENGTH = 0x4005,  ///< "ARRAY_WAVE_LOG_LENGTH"
  ARRAY_FFT_LOG_LENGTH = 0x4006,   ///< "ARRAY_FFT_LOG_LENGTH"
  ARRAY_NETMASK = 0x4007,          ///< "ARRAY_NETMASK"
  ARRAY_GATEWAY = 0x4008,          ///< "ARRAY_GATEWAY"
  ARRAY_DNS = 0x4009,              ///< "ARRAY_DNS"
  CONSERVE_BATT = 0x400A,          ///< "CONSERVE_BATT"
  ARRAY_LOG_START_TIME = 0x400B,   ///< "ARRAY_LOG_START_TIME"
  ARRAY_DUTY_CYCLE_TIME = 0x400C,  ///< "ARRAY_DUTY_CYCLE_TIME"
  ARRAY_DUTY_RUN_TIME = 0x400D,    ///< "ARRAY_DUTY_RUN_TIME"
  ARRAY_DUTY_DATA_TYPE = 0x400E,   ///< "ARRAY_DUTY_DATA_TYPE"
  ARRAY_SERIALS = 0x8000,          ///< "ARRAY_SERIALS"
  ARRAY_IP_ADDR = 0x8002           ///< "ARRAY_IP_ADDR"
};

/// The device's verdict on one tag of a rejected setup.
enum TagErrCode : uint16 {
  TAG_OK = 0,           ///< accepted
  TAG_INVALID = 1,      ///< value not valid
  TAG_CONFLICT = 2,     ///< conflicts with another tag
  TAG_UNCHECKED = 3,    ///< not checked by the device
  TAG_TOO_HIGH = 4,     ///< above the allowed range
  TAG_TOO_LOW = 5       ///< below the allowed range
};

/// Function of the auxiliary pin (16-bit).
enum AuxPinFunc : uint16 {
  AUX_FUNC_OFF = 0,          ///< pin unused
  AUX_FUNC_TRIGGER_IN = 1,   ///< external trigger input
  AUX_FUNC_TRIGGER_OUT = 2,  ///< trigger output
  AUX_FUNC_SYNC_IN = 3,      ///< time-sync pulse input
  AUX_FUNC_SYNC_OUT = 4,     ///< time-sync pulse output
  AUX_FUNC_SERIAL = 5        ///< serial message port
};

/// Kind of message sent on the auxiliary pin (32-bit).
enum AuxPinMsg : uint32 {
  AUX_MSG_NONE = 0,     ///< no message
  AUX_MSG_PULSE = 1,    ///< a plain pulse
  AUX_MSG_NMEA = 2,     ///< an NMEA sentence
  AUX_MSG_STATUS = 3    ///< a status message
};

/// Sample rate in samples per second (32-bit); the enumerators are the supported rates.
enum SampRate : uint32 {
  SAMP_RATE_8000 = 8000,      ///< 8 kS/s
  SAMP_RATE_16000 = 16000,    ///< 16 kS/s
  SAMP_RATE_32000 = 32000,    ///< 32 kS/s, the default
  SAMP_RATE_64000 = 64000,    ///< 64 kS/s
  SAMP_RATE_128000 = 128000,  ///< 128 kS/s
  SAMP_RATE_256000 = 256000,  ///< 256 kS/s
  SAMP_RATE_512000 = 512000   ///< 512 kS/s
};

/// How successive spectra are combined (16-bit).
enum VelFftProc : uint16 {
  FFT_PROC_MEAN = 0,  ///< power average
  FFT_PROC_MAX = 1,   ///< maximum hold
  FFT_PROC_MIN = 2,   ///< minimum hold
  FFT_PROC_RMS = 3    ///< root mean square
};

/// When data of one kind is logged (16-bit).
enum VelLogMode : uint16 {
  LOG_MODE_OFF = 0,         ///< not logged
  LOG_MODE_CONTINUOUS = 1,  ///< logged all the time
  LOG_MODE_DUTY_CYCLE = 2,  ///< logged during the active part of the duty cycle
  LOG_MODE_TRIGGERED = 3    ///< logged around trigger events
};

/// How an array hub controls its members (32-bit).
enum HciControlMode : uint32 {
  HCI_CTRL_INDEPENDENT = 0,  ///< members run their own jobs
  HCI_CTRL_HUB = 1,          ///< the hub starts and stops the members
  HCI_CTRL_SYNCHRONOUS = 2,  ///< the hub runs the members in lock-step
  HCI_CTRL_STREAM = 3        ///< members stream through the hub
};

/// Bits per waveform sample (8-bit).
enum VelWavBitDepth : uint8 {
  WAV_BITS_16 = 16,  ///< 16-bit samples
  WAV_BITS_24 = 24,  ///< 24-bit samples, the default
  WAV_BITS_32 = 32   ///< 32-bit samples
};

/// Byte order of waveform samples (8-bit).
enum VelByteOrder : uint8 {
  WAV_BIG_ENDIAN = 0,    ///< most significant byte first
  WAV_LITTLE_ENDIAN = 1  ///< least significant byte first, the default
};

/// Packed waveform sample format: bit 7 = byte order, bits 0..6 = bytes per sample.
using VelWavDataFormat = uint8;

namespace VelUtil {
/// Report text of a per-tag verdict (each ends in a space); empty for 0 and for 6 and above.
std::string tagErrStr(TagErrCode code);
}  // namespace VelUtil
