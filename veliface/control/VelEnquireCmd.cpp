#include <veliface/control/VelEnquireCmd.h>

#include <veliface/vocabulary/VelDeviceType.h>

#include <memory>

namespace {

// Field helpers: each returns the value read, or `keep` when the stream cannot supply it,
// so a field that is cut off keeps its constructor value.
template <typename T>
T readLEOr(ByteStream& s, T keep) {
  s.readLE(keep);
  return keep;
}

std::string readTextOr(ByteStream& s, std::size_t width, std::string keep) {
  s.readFixedString(width, keep);
  return keep;
}

// One group of a versioned record: the fields that version `version` added.
template <typename Rec>
struct VersionGroup {
  uint8 version;
  void (*read)(ByteStream& s, Rec& rec);
};

// The devices' versioned records all start with a version byte V; the groups of versions
// 1..V follow one after the other. Groups newer than the library knows are not read, so a
// newer device is read as far as we understand it; an older one yields its older groups.
template <typename Rec, std::size_t N>
Rec* readVersioned(ByteStream* s, const VersionGroup<Rec> (&groups)[N]) {
  auto rec = std::make_unique<Rec>();
  rec->setEnqVersion(readLEOr<uint8>(*s, 0));
  for (const VersionGroup<Rec>& g : groups) {
    if (g.version > rec->enqVersion()) break;
    g.read(*s, *rec);
  }
  return rec.release();
}

// Version 2 of the hydrophone record exists but adds no field.
const VersionGroup<VelEnqHFData> kHFGroups[] = {
    {1, [](ByteStream& s, VelEnqHFData& r) { r.setSensitivity(readLEOr(s, r.sensitivity())); }},
    {3,
     [](ByteStream& s, VelEnqHFData& r) {
       r.setTemperature(readLEOr(s, r.temperature()));
       r.setHumidity(readLEOr(s, r.humidity()));
       r.setBattStat(readLEOr(s, r.battStat()));
       r.setBattPercent(readLEOr(s, r.battPercent()));
       r.setHardwareRev(readLEOr(s, r.hardwareRev()));
       r.setLinkType(readLEOr(s, r.linkType()));
     }},
    {4,
     [](ByteStream& s, VelEnqHFData& r) {
       r.setFirmwareRel(readTextOr(s, 8, r.firmwareRel()));
       r.setSyncStatus(readLEOr(s, r.syncStatus()));
       r.setTimeSrc(readLEOr(s, r.timeSrc()));
     }},
    {5,
     [](ByteStream& s, VelEnqHFData& r) {
       std::string model = r.modelString();
       s.readCString(model);
       r.setModelString(model);
     }},
};

const VersionGroup<VelEnqHCIData> kHCIGroups[] = {
    {1,
     [](ByteStream& s, VelEnqHCIData& r) {
       r.setHardwareRev(readLEOr(s, r.hardwareRev()));
       r.setLinkType(readLEOr(s, r.linkType()));
       r.setFirmwareRel(readTextOr(s, 8, r.firmwareRel()));
     }},
};

const VersionGroup<VelEnqSmRecData> kSmRecGroups[] = {
    {1,
     [](ByteStream& s, VelEnqSmRecData& r) {
       r.setHddSpace(readLEOr(s, r.hddSpace()));
       r.setModelString(readTextOr(s, 16, r.modelString()));
       r.setHardwareRev(readLEOr(s, r.hardwareRev()));
       r.setLinkType(readLEOr(s, r.linkType()));
       r.setSyncStatus(readLEOr(s, r.syncStatus()));
       r.setTimeSrc(readLEOr(s, r.timeSrc()));
       r.setHddStat(readLEOr(s, r.hddStat()));
       r.setBattPercent(readLEOr(s, r.battPercent()));
     }},
};

}  // namespace

VelEnqHFData* VelEnqHFData::deserialize(ByteStream* s) { return readVersioned(s, kHFGroups); }

VelEnqHCIData* VelEnqHCIData::deserialize(ByteStream* s) { return readVersioned(s, kHCIGroups); }

VelEnqSmRecData* VelEnqSmRecData::deserialize(ByteStream* s) {
  return readVersioned(s, kSmRecGroups);
}

void VelEnquireCmd::serialize(uint64* /*len*/, uint8* /*buf*/) const {}

VelEnquireCmd* VelEnquireCmd::deserialize(ByteStream* s) {
  auto cmd = std::make_unique<VelEnquireCmd>();
  cmd->serial_ = readLEOr(*s, cmd->serial_);
  cmd->firmwareVer_ = readTextOr(*s, 8, cmd->firmwareVer_);
  cmd->buildDate_ = readTextOr(*s, 18, cmd->buildDate_);
  cmd->devType_ = readLEOr(*s, cmd->devType_);
  cmd->status_ = readLEOr(*s, cmd->status_);
  s->ignore(2);  // reserved

  switch (static_cast<VelDeviceType>(cmd->devType_)) {
    case DEV_AUREL_HF:
    case DEV_AUREL_AF:
    case DEV_ROWAN:
      cmd->deviceData_.reset(VelEnqHFData::deserialize(s));
      break;
    case DEV_ARRAY_HUB:
      cmd->deviceData_.reset(VelEnqHCIData::deserialize(s));
      break;
    case DEV_POWER_MODULE:  // type 13 answers with the stand-alone recorder record
      cmd->deviceData_.reset(VelEnqSmRecData::deserialize(s));
      break;
    default:
      s->ignore(1);  // types without a record still send one byte here
      break;
  }
  return cmd.release();
}
