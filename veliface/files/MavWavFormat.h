#pragma once
/// \file The fixed parts of a recording WAV file: chunk identifiers, the format chunk, the
/// stream's sample setup and the blocks of samples handed to the writer.

#include <veliface/common/DeserializationFactory.h>
#include <veliface/common/ISerializable.h>

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>

#include <string>

/// Identifiers of the INFO list, written by index: INFO, IART, IPRD, ICRD, ISFT, INAM, ICMT.
extern const char* const wavInfoNames[7];
/// Chunk identifiers in file order: RIFF, WAVE, LIST, fmt , data (LIST precedes fmt ).
extern const char* const wavChunkNames[5];

/// Index of each identifier in `wavInfoNames`.
enum WavInfoName { WAV_INFO = 0, WAV_IART, WAV_IPRD, WAV_ICRD, WAV_ISFT, WAV_INAM, WAV_ICMT };
/// Index of each identifier in `wavChunkNames`.
enum WavChunkName { WAV_RIFF = 0, WAV_WAVE, WAV_LIST, WAV_FMT, WAV_DATA };

/// Pads `text` in place with trailing spaces to the next multiple of 4 characters.
void padString(std::string& text);

/// Polymorphic base of the events that a WAV writer consumes (metadata, setup, samples).
class MavWavEventData {
 public:
  /// Virtual: the writer tells the kinds apart by dynamic type.
  virtual ~MavWavEventData() = default;
};

/// The stream's sample setup, delivered with each event header of the waveform stream.
class MavWavSetupData : public MavWavEventData {
 public:
  /// Sample rate in Hz.
  virtual uint32 sampleRate() const { return sampleRate_; }
  /// Sets the sample rate in Hz.
  virtual void setSampleRate(uint32 v) { sampleRate_ = v; }
  /// Gain setting of the sensor.
  virtual short gain() const { return gain_; }
  /// Sets the gain.
  virtual void setGain(short v) { gain_ = v; }
  /// Bits per sample.
  virtual uint8 bitDepth() const { return bitDepth_; }
  /// Sets the bits per sample.
  virtual void setBitDepth(uint8 v) { bitDepth_ = v; }
  /// Byte order of the samples on the wire.
  virtual bool bigEndian() const { return bigEndian_; }
  /// Sets the byte order of the samples.
  virtual void setBigEndian(bool v) { bigEndian_ = v; }
  /// bitDepth / 8, integer division (12 bits give 1).
  virtual uint32 bytesPerSample() const { return bitDepth_ / 8u; }

 private:
  uint32 sampleRate_ = 0;
  short gain_ = 0;
  uint8 bitDepth_ = 0;
  bool bigEndian_ = false;
};

/// One block of samples handed to the writer; the sample bytes are not owned.
class MavWavDataChunk : public MavWavEventData {
 public:
  /// Index of the first sample of the block in the stream.
  virtual uint32 sampleNum() const { return sampleNum_; }
  /// Sets the index of the first sample.
  virtual void setSampleNum(uint32 v) { sampleNum_ = v; }
  /// Interleaved channels in the block.
  virtual uint8 numChannels() const { return numChannels_; }
  /// Sets the channel count.
  virtual void setNumChannels(uint8 v) { numChannels_ = v; }
  /// Byte order of the samples.
  virtual bool bigEndian() const { return bigEndian_; }
  /// Sets the byte order of the samples.
  virtual void setBigEndian(bool v) { bigEndian_ = v; }
  /// Bits per sample.
  virtual uint8 bitDepth() const { return bitDepth_; }
  /// Sets the bits per sample.
  virtual void setBitDepth(uint8 v) { bitDepth_ = v; }
  /// Samples per channel in the block.
  virtual uint16 numSamples() const { return numSamples_; }
  /// Sets the samples per channel.
  virtual void setNumSamples(uint16 v) { numSamples_ = v; }
  /// The sample bytes (not owned; must hold `dataSize()` bytes).
  virtual const uint8* data() const { return data_; }
  /// Points the block at its sample bytes.
  virtual void setData(const uint8* v) { data_ = v; }
  /// numChannels x bitDepth x numSamples / 8, the division after the product.
  virtual uint32 dataSize() const;

 private:
  uint32 sampleNum_ = 0;
  uint8 numChannels_ = 0;
  bool bigEndian_ = false;
  uint8 bitDepth_ = 0;
  uint16 numSamples_ = 0;
  const uint8* data_ = nullptr;
};

/// The body of a "fmt " chunk. The writer emits the chunk itself, so `serialize` writes nothing.
class MavWavFmtData : public ISerializable, public DeserializationFactory<MavWavFmtData> {
 public:
  /// Compression code (1 = PCM).
  virtual uint16 compCode() const { return compCode_; }
  /// Sets the compression code.
  virtual void setCompCode(uint16 v) { compCode_ = v; }
  /// Number of channels.
  virtual uint16 numChannels() const { return numChannels_; }
  /// Sets the number of channels.
  virtual void setNumChannels(uint16 v) { numChannels_ = v; }
  /// Sample rate in Hz.
  virtual uint32 sampleRate() const { return sampleRate_; }
  /// Sets the sample rate.
  virtual void setSampleRate(uint32 v) { sampleRate_ = v; }
  /// Bytes per second of all channels.
  virtual uint32 bytesPerSec() const { return bytesPerSec_; }
  /// Sets the bytes per second.
  virtual void setBytesPerSec(uint32 v) { bytesPerSec_ = v; }
  /// Bytes of one sample frame of all channels.
  virtual uint16 blockAlign() const { return blockAlign_; }
  /// Sets the block align.
  virtual void setBlockAlign(uint16 v) { blockAlign_ = v; }
  /// Bits per sample.
  virtual uint16 bitsPerSamp() const { return bitsPerSamp_; }
  /// Sets the bits per sample.
  virtual void setBitsPerSamp(uint16 v) { bitsPerSamp_ = v; }

  /// Fills rate, bytes per second, block align and bits from `setup` for the current
  /// channel count: bytes per second = channels x bytesPerSample x rate.
  void applySetup(const MavWavSetupData& setup);
  /// Writes nothing: the "fmt " chunk is emitted by the writer.
  void serialize(uint64* len, uint8* buf) const override;
  /// Reads the 16-byte chunk body (identifier and length already consumed); starts from one
  /// channel, and a short stream leaves the remaining fields at their defaults.
  static MavWavFmtData* deserialize(ByteStream* s);

 private:
  uint16 compCode_ = 1;
  uint16 numChannels_ = 0;
  uint32 sampleRate_ = 0;
  uint32 bytesPerSec_ = 0;
  uint16 blockAlign_ = 0;
  uint16 bitsPerSamp_ = 0;
};
