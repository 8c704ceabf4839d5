#include <veliface/control/VelEnquireCmd.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// Identity block: serial 0x1234, firmware "1.2.3", build date "Jan 02 2024", the given
// type, status 1, two reserved bytes.
Bytes identity(uint8 type) {
  return Bytes{0x34, 0x12,                                                    // serial
               '1', '.', '2', '.', '3', 0, 0, 0,                              // firmware, 8
               'J', 'a', 'n', ' ', '0', '2', ' ', '2', '0', '2', '4', 0, 0, 0, 0, 0, 0, 0,  // 18
               type, 0x01, 0xAA, 0xBB};
}

// Every hydrophone group after the version byte, versions 1, 3, 4, 5 in order.
const Bytes kHFGroups = {
    0x02, 0x01,                                  // sensitivity 0x0102
    0x04, 0x03, 0x06, 0x05, 0x07, 0x50, 0x02, 0x03,  // temp, humidity, batt, %, hw, link
    'R', '1', '.', '5', 0, 0, 0, 0, 0x01, 0x02,    // firmwareRel, sync, time source
    'A', 'u', 'r', 'e', 'l', 0,                    // model, zero-terminated
    0x99, 0x98};                                   // bytes the record does not own

std::unique_ptr<VelEnquireCmd> parse(const Bytes& b) {
  return std::unique_ptr<VelEnquireCmd>(VelEnquireCmd::create(b.data(), b.size()));
}

}  // namespace

TEST(VelEnquireCmd, RequestIsEmpty) {
  VelEnquireCmd e;
  uint8 buf[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  uint64 len = 0;
  e.serialize(&len, buf);
  EXPECT_EQ(len, 0u);
  EXPECT_EQ(buf[0], 0xEE);
  EXPECT_EQ(e.commandCode(), 0x45);
  EXPECT_EQ(e.deviceData(), nullptr);
}

TEST(VelEnquireCmd, IdentityBlock) {
  const auto e = parse(identity(5) + Bytes{0});
  EXPECT_EQ(e->serial(), 0x1234);
  EXPECT_EQ(e->firmwareVer(), "1.2.3");
  EXPECT_EQ(e->buildDate(), "Jan 02 2024");
  EXPECT_EQ(e->devType(), 5);
  EXPECT_EQ(e->status(), 1);
}

TEST(VelEnquireCmd, HydrophoneRecordVersions) {
  struct Case {
    uint8 version;
    std::size_t consumed;  // bytes of the record read, version byte included
    uint16 sensitivity, temperature;
    const char* firmwareRel;
    uint8 timeSrc;
    const char* model;
  };
  const Case cases[] = {
      {0, 1, 0, 0, "", 0, ""},                  // version 0: nothing but the version
      {1, 3, 0x0102, 0, "", 0, ""},
      {2, 3, 0x0102, 0, "", 0, ""},             // version 2 adds no field
      {3, 11, 0x0102, 0x0304, "", 0, ""},
      {4, 21, 0x0102, 0x0304, "R1.5", 2, ""},
      {5, 27, 0x0102, 0x0304, "R1.5", 2, "Aurel"},
      {9, 27, 0x0102, 0x0304, "R1.5", 2, "Aurel"},  // newer than known: read as far as 5
  };
  for (const Case& c : cases) {
    const Bytes record = Bytes{c.version} + kHFGroups;
    ByteStream s(record.data(), record.size());
    std::unique_ptr<VelEnqHFData> d(VelEnqHFData::deserialize(&s));
    SCOPED_TRACE(int(c.version));
    EXPECT_TRUE(s.good());
    EXPECT_EQ(record.size() - s.bytesAvailable(), c.consumed);
    EXPECT_EQ(d->enqVersion(), c.version);
    EXPECT_EQ(d->sensitivity(), c.sensitivity);
    EXPECT_EQ(d->temperature(), c.temperature);
    EXPECT_EQ(d->humidity(), c.temperature ? 0x0506 : 0);
    EXPECT_EQ(d->battStat(), c.temperature ? 0x07 : 0);
    EXPECT_EQ(d->battPercent(), c.temperature ? 0x50 : 0);
    EXPECT_EQ(d->hardwareRev(), c.temperature ? 0x02 : 0);
    EXPECT_EQ(d->linkType(), c.temperature ? 0x03 : 0);
    EXPECT_EQ(d->firmwareRel(), c.firmwareRel);
    EXPECT_EQ(d->syncStatus(), c.timeSrc ? 1 : 0);
    EXPECT_EQ(d->timeSrc(), c.timeSrc);
    EXPECT_EQ(d->modelString(), c.model);
  }
}

TEST(VelEnquireCmd, RecordChosenByDeviceType) {
  // Types 5, 7 and 15 carry the hydrophone record.
  for (uint8 type : {uint8{5}, uint8{7}, uint8{15}}) {
    const auto e = parse(identity(type) + Bytes{5} + kHFGroups);
    const auto* hf = dynamic_cast<const VelEnqHFData*>(e->deviceData().get());
    ASSERT_NE(hf, nullptr) << int(type);
    EXPECT_EQ(hf->enqVersion(), 5);
    EXPECT_EQ(hf->modelString(), "Aurel");
  }

  // Type 8: the array hub record.
  const auto hub = parse(identity(8) + Bytes{3, 0x04, 0x02, 'H', 'C', 'I', '2', '.', '0', 0, 0});
  const auto* hci = dynamic_cast<const VelEnqHCIData*>(hub->deviceData().get());
  ASSERT_NE(hci, nullptr);
  EXPECT_EQ(hci->enqVersion(), 3);
  EXPECT_EQ(hci->hardwareRev(), 4);
  EXPECT_EQ(hci->linkType(), 2);
  EXPECT_EQ(hci->firmwareRel(), "HCI2.0");

  // Type 13: the stand-alone recorder record; a 16-character model fills its field.
  const auto rec = parse(identity(13) + Bytes{1, 0x89, 0x67, 0x45, 0x23, 0x01, 0x00, 0x00, 0x80} +
                         Bytes{'S', 'M', 'R', 'E', 'C', '-', '0', '1', '2', '3', '4', '5', '6',
                               '7', '8', '9'} +
                         Bytes{0x05, 0x01, 0x02, 0x03, 0x04, 0x64});
  const auto* sm = dynamic_cast<const VelEnqSmRecData*>(rec->deviceData().get());
  ASSERT_NE(sm, nullptr);
  EXPECT_EQ(sm->enqVersion(), 1);
  EXPECT_EQ(sm->hddSpace(), static_cast<int64>(0x8000000123456789ull));
  EXPECT_EQ(sm->modelString(), "SMREC-0123456789");
  EXPECT_EQ(sm->hardwareRev(), 5);
  EXPECT_EQ(sm->linkType(), 1);
  EXPECT_EQ(sm->syncStatus(), 2);
  EXPECT_EQ(sm->timeSrc(), 3);
  EXPECT_EQ(sm->hddStat(), 4);
  EXPECT_EQ(sm->battPercent(), 100);

  // Type 10 has no record: one byte is skipped and deviceData stays empty.
  const Bytes none = identity(10) + Bytes{0x07, 0x08};
  ByteStream s(none.data(), none.size());
  std::unique_ptr<VelEnquireCmd> e(VelEnquireCmd::deserialize(&s));
  EXPECT_EQ(e->deviceData(), nullptr);
  EXPECT_EQ(s.bytesAvailable(), 1u);
}

TEST(VelEnquireCmd, CutShortLeavesUnreadFieldsAtZero) {
  // Cut inside the build date: serial and firmware read, the rest stays at its default.
  const Bytes whole = identity(5) + Bytes{5} + kHFGroups;
  const auto early = parse(Bytes(whole.begin(), whole.begin() + 15));
  EXPECT_EQ(early->serial(), 0x1234);
  EXPECT_EQ(early->firmwareVer(), "1.2.3");
  EXPECT_EQ(early->buildDate(), "");
  EXPECT_EQ(early->devType(), 0);
  EXPECT_EQ(early->deviceData(), nullptr);

  // Cut inside the firmware release of a version-5 record.
  const auto late = parse(Bytes(whole.begin(), whole.begin() + 32 + 1 + 2 + 8 + 4));
  const auto* hf = dynamic_cast<const VelEnqHFData*>(late->deviceData().get());
  ASSERT_NE(hf, nullptr);
  EXPECT_EQ(hf->enqVersion(), 5);
  EXPECT_EQ(hf->sensitivity(), 0x0102);
  EXPECT_EQ(hf->linkType(), 3);
  EXPECT_EQ(hf->firmwareRel(), "");
  EXPECT_EQ(hf->syncStatus(), 0);
  EXPECT_EQ(hf->modelString(), "");

  // A model text without its terminator is not taken.
  const auto noZero = parse(Bytes(whole.begin(), whole.begin() + 32 + 1 + 20 + 3));
  const auto* hf2 = dynamic_cast<const VelEnqHFData*>(noZero->deviceData().get());
  ASSERT_NE(hf2, nullptr);
  EXPECT_EQ(hf2->timeSrc(), 2);
  EXPECT_EQ(hf2->modelString(), "");

  // Nothing at all.
  const auto empty = parse(Bytes{});
  EXPECT_EQ(empty->serial(), 0);
  EXPECT_EQ(empty->deviceData(), nullptr);
}
