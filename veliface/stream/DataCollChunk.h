#pragma once
/// \file The chunks of a collect-data response: one snapshot of a device's current data.
///
/// All fields are little-endian and are read in wire order. A field that cannot be read
/// (the response ends early) keeps its constructor value, 0.

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/DeserializationFactory.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Key of a collected chunk in a collect-data response. The low byte holds the response
/// mask bits, the high byte the extended chunk types shifted left by eight.
enum DataCollMask : uint16 {
  DC_HUMIDITY = 0x0002,     ///< mask bit 0x02
  DC_TEMPERATURE = 0x0004,  ///< mask bit 0x04
  DC_SPEC = 0x0010,         ///< mask bit 0x10
  DC_WAV = 0x0020,          ///< mask bit 0x20
  DC_HEADING = 0x0100,      ///< extended type 0x01
  DC_SPEC_TIME = 0x1000,    ///< extended type 0x10
  DC_WAV_TIME = 0x2000      ///< extended type 0x20
};

/// Polymorphic base of every collect-data chunk.
class DataCollChunk {
 public:
  /// Virtual: chunks are held through the base.
  virtual ~DataCollChunk() = default;
};

/// A chunk of `N` integer fields of one type, read as one fixed-size record. `Derived`
/// names the fields; the reading is shared by every such chunk.
template <typename Derived, typename Field, std::size_t N>
class DataCollFixedChunk : public DataCollChunk, public DeserializationFactory<Derived> {
 public:
  /// Reads the `N` fields in wire order; the caller owns the result.
  static Derived* deserialize(ByteStream* s) {
    auto* chunk = new Derived();
    DataCollFixedChunk& fixed = *chunk;
    for (Field& f : fixed.fields_) s->readLE(f);
    return chunk;
  }

 protected:
  /// Field `i` in wire order.
  Field field(std::size_t i) const { return fields_[i]; }

 private:
  std::array<Field, N> fields_{};
};

/// Relative humidity: one signed 16-bit value in tenths of a percent.
class DataCollHumidityChunk : public DataCollFixedChunk<DataCollHumidityChunk, std::int16_t, 1> {
 public:
  /// Key of this chunk in a response.
  static constexpr DataCollMask kKey = DC_HUMIDITY;
  /// Raw value as received (tenths of a percent).
  std::int16_t rawHumidity() const { return field(0); }
  /// Relative humidity in percent.
  float humidity() const { return static_cast<float>(field(0)) / 10.0f; }
};

/// Temperature: one signed 16-bit value in tenths of a degree Celsius.
class DataCollTemperatureChunk
    : public DataCollFixedChunk<DataCollTemperatureChunk, std::int16_t, 1> {
 public:
  /// Key of this chunk in a response.
  static constexpr DataCollMask kKey = DC_TEMPERATURE;
  /// Raw value as received (tenths of a degree).
  std::int16_t rawTemperature() const { return field(0); }
  /// Temperature in degrees Celsius.
  float temperature() const { return static_cast<float>(field(0)) / 10.0f; }
};

/// Heading: accelerometer then magnetometer, three signed 16-bit axes each (12 bytes).
class DataCollHeadingChunk : public DataCollFixedChunk<DataCollHeadingChunk, std::int16_t, 6> {
 public:
  /// Key of this chunk in a response.
  static constexpr DataCollMask kKey = DC_HEADING;
  /// Accelerometer X.
  std::int16_t accX() const { return field(0); }
  /// Accelerometer Y.
  std::int16_t accY() const { return field(1); }
  /// Accelerometer Z.
  std::int16_t accZ() const { return field(2); }
  /// Magnetometer X.
  std::int16_t magX() const { return field(3); }
  /// Magnetometer Y.
  std::int16_t magY() const { return field(4); }
  /// Magnetometer Z.
  std::int16_t magZ() const { return field(5); }
};

/// Time of a collected block: samples into the second, then the second (8 bytes). The
/// spectrum and the waveform time chunks share this layout and differ only in their key.
template <typename Derived, DataCollMask Key>
class DataCollTimeChunk : public DataCollFixedChunk<Derived, uint32, 2> {
 public:
  /// Key of this chunk in a response.
  static constexpr DataCollMask kKey = Key;
  /// Samples into the current second.
  uint32 sampsIntoSec() const { return this->field(0); }
  /// Seconds.
  uint32 time() const { return this->field(1); }
};

/// Time of the collected spectrum.
class DataCollSpecTimeChunk : public DataCollTimeChunk<DataCollSpecTimeChunk, DC_SPEC_TIME> {};

/// Time of the collected waveform.
class DataCollWavTimeChunk : public DataCollTimeChunk<DataCollWavTimeChunk, DC_WAV_TIME> {};

/// A block of waveform samples: a 14-byte head, then `numBytes` bytes of samples.
class DataCollWavChunk : public DataCollChunk, public DeserializationFactory<DataCollWavChunk> {
 public:
  /// Key of this chunk in a response.
  static constexpr DataCollMask kKey = DC_WAV;

  /// Reads head and samples; the caller owns the result. Samples that are not wholly in
  /// the stream are not kept.
  static DataCollWavChunk* deserialize(ByteStream* s);

  /// Waveform sequence number (counts blocks, wraps at 16 bits).
  uint16 seqNum() const { return seqNum_; }
  /// Sample format byte as sent by the device.
  uint8 dataFormat() const { return dataFormat_; }
  /// Length of the sample data announced by the device.
  uint16 numBytes() const { return numBytes_; }
  /// Gain setting.
  uint8 gain() const { return gain_; }
  /// Sample rate in samples per second.
  uint32 sampleRate() const { return sampleRate_; }
  /// Hydrophone sensitivity.
  uint16 sensitivity() const { return sensitivity_; }
  /// Full-scale input in millivolts.
  uint16 fullScale_mV() const { return fullScale_mV_; }
  /// The sample bytes as received (empty once taken).
  const std::vector<uint8>& wavData() const { return data_; }
  /// Hands the sample bytes to the caller; the chunk is left without data.
  std::vector<uint8> takeWavData();

 private:
  uint16 seqNum_ = 0;
  uint8 dataFormat_ = 0;
  uint16 numBytes_ = 0;
  uint8 gain_ = 0;
  uint32 sampleRate_ = 0;
  uint16 sensitivity_ = 0;
  uint16 fullScale_mV_ = 0;
  std::vector<uint8> data_;
};

/// A spectrum: a head of 17 or 21 bytes whose middle depends on the processing type, then
/// `numBytes` bytes of spectrum data.
class DataCollSpecChunk : public DataCollChunk, public DeserializationFactory<DataCollSpecChunk> {
 public:
  /// Key of this chunk in a response.
  static constexpr DataCollMask kKey = DC_SPEC;

  /// Reads head and data; the caller owns the result. Data that is not wholly in the
  /// stream is not kept.
  static DataCollSpecChunk* deserialize(ByteStream* s);

  /// Spectrum sequence number.
  uint16 seqNum() const { return seqNum_; }
  /// Length of the spectrum data announced by the device.
  uint16 numBytes() const { return numBytes_; }
  /// Gain setting.
  uint8 gain() const { return gain_; }
  /// Sample rate in samples per second.
  uint32 sampleRate() const { return sampleRate_; }
  /// Hydrophone sensitivity.
  uint16 sensitivity() const { return sensitivity_; }
  /// Processing type; 4, 5 and 6 carry an accumulation count and a weight.
  uint16 procType() const { return procType_; }
  /// FFTs accumulated per result (0 when the processing type carries none).
  uint16 accumsPerRslt() const { return accumsPerRslt_; }
  /// Accumulation weight (0 when the processing type carries none).
  uint16 weight() const { return weight_; }
  /// Points between FFTs.
  uint16 ptsBtwFft() const { return ptsBtwFft_; }
  /// Points per FFT.
  uint16 ptsPerFft() const { return ptsPerFft_; }
  /// The spectrum bytes as received (empty once taken).
  const std::vector<uint8>& specData() const { return data_; }
  /// Hands the spectrum bytes to the caller; the chunk is left without data.
  std::vector<uint8> takeSpecData();

 private:
  uint16 seqNum_ = 0;
  uint16 numBytes_ = 0;
  uint8 gain_ = 0;
  uint32 sampleRate_ = 0;
  uint16 sensitivity_ = 0;
  uint16 procType_ = 0;
  uint16 accumsPerRslt_ = 0;
  uint16 weight_ = 0;
  uint16 ptsBtwFft_ = 0;
  uint16 ptsPerFft_ = 0;
  std::vector<uint8> data_;
};
