#include <veliface/record/internal/WavInfo.h>

#include <veliface/device/VelDevice.h>
#include <veliface/files/DeviceFacts.h>
#include <veliface/stream/VelStreamChunk.h>
#include <veliface/stream/VelStreamPayloads.h>
#include <veliface/vocabulary/VelDeviceEnums.h>
#include <veliface/vocabulary/VelDeviceType.h>

#include <cmath>
#include <cstdint>

namespace veliface::record {

namespace {

template <typename Chunks>
auto onChannel(const Chunks& chunks, unsigned channel) -> decltype(chunks.front().get()) {
  for (const auto& c : chunks)
    if (c && c->channel() == channel) return c.get();
  return nullptr;
}

// The device's record for the whole file: the array master's for an array, else channel 1's.
const VelDeviceInfoChunk* ownInfo(const VelStreamEventHeaderPayload& hdr) {
  if (hdr.arrayMasterInfo()) return hdr.arrayMasterInfo().get();
  if (const auto* one = onChannel(hdr.deviceInfoChunks(), 1)) return one;
  return hdr.deviceInfoChunks().empty() ? nullptr : hdr.deviceInfoChunks().front().get();
}

// Sensitivity travels as signed tenths of a dB.
double tenthsDb(uint16 raw) { return static_cast<std::int16_t>(raw) / 10.0; }

// The amplitude at full scale travels in millivolts.
double fullScaleVolts(const VelStreamEventHeaderPayload& hdr) {
  const auto& scaling = hdr.amplScalingChunks();
  return scaling.empty() ? 0.0 : scaling.front()->maxAmplitude() / 1000.0;
}

}  // namespace

std::unique_ptr<MavWavInfoData> makeWavInfo(const VelStreamEventHeaderPayload& hdr,
                                            const std::shared_ptr<MavDevice>& device, unsigned channels,
                                            const std::string& creator) {
  const veliface::files::DeviceFacts facts = veliface::files::deviceFacts(device, ownInfo(hdr));
  std::unique_ptr<MavWavInfoData> info;
  if (channels <= 1) {
    auto hf = std::make_unique<MavWavInfoDataHF>();
    hf->setHwVersion(facts.firmware);
    info = std::move(hf);
  } else {
    auto hci = std::make_unique<MavWavInfoDataHCI>(static_cast<unsigned char>(channels));
    hci->setNumChannels(static_cast<unsigned char>(channels));
    hci->setHwVersion(facts.firmware);
    for (unsigned c = 1; c <= channels; ++c) {
      const auto ch = static_cast<unsigned char>(c);
      if (const auto* member = onChannel(hdr.deviceInfoChunks(), c)) {
        hci->setDeviceType(static_cast<VelDeviceType>(member->model()), ch);
        hci->setSerialNo(member->serialNo(), ch);
        hci->setSensitivity(static_cast<short>(std::lround(tenthsDb(member->sensitivity()))), ch);
      }
    }
    info = std::move(hci);
  }
  info->setDeviceType(facts.type, 0);
  info->setSerialNo(facts.serial, 0);
  if (channels <= 1) info->setSensitivity(static_cast<short>(std::lround(facts.sensitivity)), 0);
  info->setCreator(creator);
  // The status chunk reports tenths of a degree and of a percent, as the metadata keeps them.
  for (unsigned c = 1; c <= std::max(channels, 1u); ++c) {
    if (const auto* status = onChannel(hdr.streamStatusChunks(), c)) {
      const auto entry = static_cast<unsigned char>(channels <= 1 ? 0 : c);
      info->setTemperature(static_cast<short>(status->temperature()), entry);
      info->setHumidity(status->humidity(), entry);
    }
  }
  if (!hdr.amplScalingChunks().empty()) {
    info->setVoltsPk(static_cast<float>(fullScaleVolts(hdr)));
    info->setMaxCount(hdr.amplScalingChunks().front()->maxCount());
  }
  return info;
}

void describeDevice(const VelStreamEventHeaderPayload& hdr, const std::shared_ptr<MavDevice>& device,
                    unsigned channels, WavFileFacts& facts) {
  const veliface::files::DeviceFacts own = veliface::files::deviceFacts(device, ownInfo(hdr));
  facts.deviceType = own.type;
  facts.deviceTypeText = VelUtil::deviceTypeStr(own.type);
  facts.serial = own.serial;
  facts.firmware = own.firmware;
  facts.sensitivityDb = own.sensitivity;
  facts.fullScaleVolts = fullScaleVolts(hdr);
  facts.maxCount = hdr.amplScalingChunks().empty() ? 0 : hdr.amplScalingChunks().front()->maxCount();
  if (const auto wav = hdr.streamSetupChunk().wavSetup()) facts.gain = wav->gain();
  facts.members.clear();
  if (channels > 1 || hdr.isArray()) {
    for (unsigned c = 1; c <= channels; ++c) {
      const auto* member = onChannel(hdr.deviceInfoChunks(), c);
      if (member == nullptr) continue;
      const auto type = static_cast<VelDeviceType>(member->model());
      facts.members.push_back({c, type, VelUtil::deviceTypeStr(type), member->serialNo(), tenthsDb(member->sensitivity())});
    }
  }
  if (const auto* sensor = dynamic_cast<const VelDevice*>(device.get())) {
    facts.clockSource = VelUtil::timeSrcString(sensor->sysTimeStatus());
    facts.syncStatus = VelUtil::syncStatusStr(sensor->syncStatus());
  } else {
    facts.clockSource = facts.syncStatus = "unknown (no enquiry answer)";
  }
}

}  // namespace veliface::record
