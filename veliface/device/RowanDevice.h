#pragma once
/// \file The Rowan: an array unit that records through one channel of an FCR.

#include <veliface/device/FcrDevice.h>
#include <veliface/device/VelDevice.h>
#include <veliface/device/VelDeviceId.h>

#include <memory>
#include <string>
#include <utility>

/// An array unit: a sensor device attached to one channel of an FCR, with the bandwidth and
/// spectrum reference voltage of that channel.
///
/// Its number on the FCR is its channel: `deviceId()` carries the channel as host number,
/// so that "Rowan #12 (3)" names the unit on channel 3 (channel 0: not on an FCR).
/// `checkArray(other)` holds when `other` is a Rowan of the same device type on the same
/// channel whose FCR is the same array as this one's (both without FCR also counts).
class RowanDevice : public VelDevice {
 public:
  /// A unit of type `type` with every field at its default, on no FCR.
  explicit RowanDevice(VelDeviceType type);
  /// A unit with the given serial, type, network settings and job-settings tags.
  RowanDevice(uint16 serial, VelDeviceType type, const MavNetHostInfo& info,
              const JobTagMap& tags);

  /// Same device type, channel and FCR array (see the class comment).
  bool checkArray(MavDevice& other) override;
  /// The identity's name, with the channel as host number.
  std::string friendlyName() const override;

  /// Attaches the unit to `fcr` (empty: detached).
  void setFCRDev(std::shared_ptr<FcrDevice> fcr) { fcr_ = std::move(fcr); }
  /// The FCR the unit is attached to, or empty.
  std::shared_ptr<FcrDevice> FCRDev() const { return fcr_; }
  /// The same FCR, seen as a common device.
  std::shared_ptr<MavDevice> FCR_MAV_Dev() const { return fcr_; }
  /// Sets the FCR channel. The misspelt name is the established one and is kept.
  void setFcrChanhel(uint8 channel) { fcrChannel_ = channel; }
  /// The FCR channel; 0 when not set.
  uint8 fcrChannel() const { return fcrChannel_; }
  /// Sets the channel bandwidth, Hz.
  void setBandWidth(uint32 hz) { bandWidth_ = hz; }
  /// The channel bandwidth, Hz.
  uint32 bandWidth() const { return bandWidth_; }
  /// Sets the spectrum reference voltage.
  void setSpectrumVRef(float v) { spectrumVRef_ = v; }
  /// The spectrum reference voltage.
  float spectrumVRef() const { return spectrumVRef_; }
  /// The unit's identity, with the FCR channel as its host number.
  VelDeviceId deviceId() const;

 private:
  std::shared_ptr<FcrDevice> fcr_;
  uint8 fcrChannel_ = 0;
  uint32 bandWidth_ = 0;
  float spectrumVRef_ = 0.0f;
};
