#pragma once
/// \file Turns collect-data responses into stream payloads, so that a scan can be recorded
/// by the same writers as a stream.

#include <mavcommon/MavTypes.h>
#include <veliface/stream/VelStreamChunk.h>
#include <veliface/stream/VelStreamPayloads.h>
#include <veliface/stream/VelStreamType.h>

#include <memory>

class VelDataCollectCmd;
class VelDevice;

/// Converts collect-data responses ("scans") into the payloads of a stream and keeps
/// watch over the waveform sequence numbers so that gaps between scans are reported.
///
/// A scan describes one device on one channel, so every chunk built here is on channel 1
/// and an event header carries one device info, one stream status and one amplitude
/// scaling. A scan that lacks the chunk a conversion needs (or a null response) gives an
/// empty pointer, never an exception.
class VelScanStreamConv {
 public:
  /// Expects waveform sequence 0 next, with no rollovers counted.
  VelScanStreamConv() = default;

  /// Event key (version 1) of the scan's waveform (`VEL_STREAM_WAVEFORM`) or spectrum
  /// (`VEL_STREAM_SPECTRUM`) block:
  /// - timeStamp: `time` of the matching collected time chunk (waveform or spectrum time),
  ///   0 when the scan has none;
  /// - seqNum: `seqNum` of the waveform or spectrum chunk;
  /// - channel: 1; reserved bytes and header field: 0.
  /// Empty when the block is absent or the type is neither of the two.
  static std::shared_ptr<VelEventKeyChunk> getEventKeyChunk(std::shared_ptr<VelDataCollectCmd> cmd,
                                                            VelStreamType type);

  /// Event header of the scan's waveform or spectrum block, stamped with `type`:
  /// - event key: as `getEventKeyChunk`;
  /// - one device info (version 1, channel 1): serialNo = `dev.serial()`, model = the
  ///   device type byte, sensitivity = `dev.sensitivity()` in signed tenths of a dB (as the
  ///   device reports it on enquiry), fwVer = the first three numbers of
  ///   `dev.firmwareVer()` (0 where missing, 255 at most);
  /// - one stream status (channel 1): temperature and humidity = the raw collected values
  ///   in signed tenths (degrees Celsius, percent) when those chunks are present, else 0;
  ///   batteryPercent and batteryStat from the device; dataEpoch 0;
  /// - waveform: a WAV setup (channel 1): sampleRate, gain and sample format =
  ///   `sampleRate`, `gain` and `dataFormat` of the waveform chunk;
  /// - spectrum: an FFT setup (version 1, channel 1): sampleRate, numPoints = ptsPerFft,
  ///   samplesBtwFfts = ptsBtwFft, procType, accumCount = accumsPerRslt, weighting =
  ///   weight, all from the spectrum chunk; refLevel = the device's spectrum reference
  ///   (job settings, else its default) in whole dB, signed;
  /// - one amplitude scaling (channel 1, units 0): waveform: bytesPerSamp = low 7 bits of
  ///   `dataFormat`, maxCount/minCount = the largest/smallest signed value of that width,
  ///   maxAmplitude/minAmplitude = +/- `fullScale_mV`; spectrum: one byte per bin, counts
  ///   255 and 0, amplitudes 0 (bin levels are relative to the FFT reference level);
  /// - numChannels 1, no array master.
  /// Empty when the block is absent or the type is neither of the two.
  static std::shared_ptr<VelStreamEventHeaderPayload> extractEventHdr(
      std::shared_ptr<VelDataCollectCmd> cmd, const VelDevice& dev, VelStreamType type);

  /// Data payload of the scan's spectrum, stamped `VEL_STREAM_SPECTRUM`: the spectrum
  /// event key and a stream data chunk with one channel, sample format 1 (one byte per
  /// bin), numSamples = bins, sampleNum = `sampsIntoSec` of the spectrum time chunk (0
  /// without one) and the spectrum bytes, taken from the response without a copy (a
  /// second call finds them gone and gives a block of 0 bins marked corrupted). Empty
  /// without a spectrum chunk. `dev` is not consulted; it is taken for symmetry.
  static std::shared_ptr<VelStreamDataPayload> extractSpectrumData(
      std::shared_ptr<VelDataCollectCmd> cmd, const VelDevice& dev);

  /// Data payload of the scan's waveform, stamped `VEL_STREAM_WAVEFORM`: the waveform
  /// event key and a stream data chunk with one channel, sample format = `dataFormat`,
  /// numSamples = sample bytes / bytes per sample, sampleNum = `sampsIntoSec` of the
  /// waveform time chunk (0 without one) and the sample bytes, taken from the response
  /// without a copy (missing or already taken bytes give a block marked corrupted).
  /// The chunk's sequence number goes through `checkSequence`; `dataLost` tells whether
  /// blocks were lost before this one. Empty (and no loss) without a waveform chunk.
  std::shared_ptr<VelStreamDataPayload> extractWaveData(std::shared_ptr<VelDataCollectCmd> cmd,
                                                        const VelDevice& dev, bool& dataLost);

  /// Checks a waveform chunk's sequence number against the one expected and advances the
  /// expectation. Returns true when blocks were lost; losses and 16-bit rollovers are
  /// logged.
  bool checkSequence(uint16 seqNum);

  /// The waveform sequence number expected next. It keeps counting past 0xFFFF.
  uint64 next() const { return next_; }
  /// Rollovers of the sequence number since the last loss.
  uint32 rollovers() const { return rollovers_; }

 private:
  uint64 next_ = 0;
  uint32 rollovers_ = 0;
};
