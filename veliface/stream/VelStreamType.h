#pragma once
/// \file Kind of stream a stream port carries; stamped into every decoded stream payload.

#include <mavcommon/MavTypes.h>

/// The stream a processor, payload or file belongs to.
enum VelStreamType : uint8 {
  VEL_STREAM_UNKNOWN = 0,   ///< not known or not set
  VEL_STREAM_WAVEFORM = 1,  ///< sampled waveform (WAV recording)
  VEL_STREAM_SPECTRUM = 2,  ///< FFT spectra (spectrum recording)
  VEL_STREAM_STATUS = 3     ///< status and trigger records
};
