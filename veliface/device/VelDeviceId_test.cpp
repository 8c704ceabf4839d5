#include <veliface/device/VelDeviceId.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

namespace {

MavNetHostInfo netInfo(const char* ip, uint8 mode) {
  const uint8 mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
  return MavNetHostInfo(MavIpAddr(ip), MavIpAddr("255.255.255.0"), MavIpAddr("10.0.0.1"),
                        MavIpAddr("10.0.0.2"), MavMacAddr(mac), mode);
}

VelDeviceId id(int type, unsigned short serial) {
  return VelDeviceId(static_cast<VelDeviceType>(type), serial);
}

// An array host (serial 100) with two units, the second of which has a unit of its own.
VelDeviceId arrayTree() {
  VelDeviceId host(DEV_ARRAY_HUB, 100, netInfo("10.0.0.50", 1));
  VelDeviceId unitA(DEV_AUREL_HF, 1);
  unitA.setHostDevNo(1);
  VelDeviceId unitB(DEV_RELAY_HUB, 2);
  unitB.setHostDevNo(2);
  unitB.devIdList().push_back(id(DEV_VOCAN, 3));
  host.devIdList() = {unitA, unitB};
  host.setHostDevNo(7);
  return host;
}

// A subclass that reports network information other than what it stores: copies must
// take what the source's virtual accessor says.
class RemoteId : public VelDeviceId {
 public:
  using VelDeviceId::VelDeviceId;
  MavNetHostInfo netHostInfo() const override { return netInfo("192.168.7.7", 2); }
};

}  // namespace

TEST(VelDeviceIdOrder, SignedTypeThenSerial) {
  // Each row: a, b, a < b.
  struct Case {
    VelDeviceId a, b;
    bool less;
  };
  const std::vector<Case> cases = {
      {id(-1, 9), id(0, 1), true},       // 0xFF sorts before 0x00 ...
      {id(0, 1), id(-1, 9), false},      // ... and not the other way round
      {id(0x10, 1), id(0x41, 0), true},  // type decides before serial
      {id(0x41, 0), id(0x10, 1), false},
      {id(5, 1), id(5, 65535), true},    // serial compares unsigned
      {id(5, 65535), id(5, 1), false},
      {id(5, 7), id(5, 7), false},       // irreflexive
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.a < c.b, c.less) << c.a.friendlyName() << " < " << c.b.friendlyName();
  }

  std::vector<VelDeviceId> ids = {id(0x44, 1), id(0, 2), id(-1, 3), id(5, 65535), id(5, 1)};
  std::sort(ids.begin(), ids.end());
  const std::vector<VelDeviceId> expected = {id(-1, 3), id(0, 2), id(5, 1), id(5, 65535),
                                             id(0x44, 1)};
  EXPECT_EQ(ids, expected);
}

TEST(VelDeviceIdEquality, OnlyTypeAndSerialCount) {
  VelDeviceId a(DEV_AUREL_HF, 1234, netInfo("10.0.0.3", 1));
  VelDeviceId b(DEV_AUREL_HF, 1234, netInfo("10.0.0.4", 2));
  b.setHostDevNo(3);
  b.devIdList().push_back(id(DEV_VOCAN, 1));
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a != b);
  // Equivalent under < exactly when equal: a set keeps one of them.
  std::set<VelDeviceId> s = {a, b};
  EXPECT_EQ(s.size(), 1u);

  EXPECT_TRUE(a != VelDeviceId(DEV_AUREL_HF, 1235));
  EXPECT_TRUE(a != VelDeviceId(DEV_VOCAN_HF, 1234));
  EXPECT_FALSE(a == VelDeviceId(DEV_VOCAN_HF, 1234));
}

TEST(VelDeviceIdCopy, CopiesAreDeepAndIndependent) {
  const VelDeviceId source = arrayTree();

  VelDeviceId copied(source);
  VelDeviceId assigned(DEV_QBIF, 9);
  assigned.devIdList() = {id(DEV_BB, 1), id(DEV_BB, 2), id(DEV_BB, 3)};
  assigned = source;

  for (VelDeviceId* c : {&copied, &assigned}) {
    EXPECT_EQ(*c, source);
    EXPECT_EQ(c->hostDevNo(), 7);
    EXPECT_EQ(c->netHostInfo(), netInfo("10.0.0.50", 1));
    ASSERT_EQ(c->cDevIdList().size(), 2u);
    EXPECT_EQ(c->cDevIdList()[0], id(DEV_AUREL_HF, 1));
    EXPECT_EQ(c->cDevIdList()[1].hostDevNo(), 2);
    ASSERT_EQ(c->cDevIdList()[1].cDevIdList().size(), 1u);
    EXPECT_EQ(c->cDevIdList()[1].cDevIdList()[0], id(DEV_VOCAN, 3));

    // Changing the copy's nested lists leaves the source as it was.
    c->devIdList()[1].devIdList()[0] = id(DEV_ROWAN, 99);
    c->devIdList()[1].devIdList().push_back(id(DEV_FCR, 4));
    c->devIdList()[0].setHostDevNo(42);
    c->devIdList().pop_back();
  }
  ASSERT_EQ(source.cDevIdList().size(), 2u);
  EXPECT_EQ(source.cDevIdList()[0].hostDevNo(), 1);
  ASSERT_EQ(source.cDevIdList()[1].cDevIdList().size(), 1u);
  EXPECT_EQ(source.cDevIdList()[1].cDevIdList()[0], id(DEV_VOCAN, 3));
}

TEST(VelDeviceIdCopy, NetworkInformationComesFromTheSourcesAccessor) {
  const RemoteId remote(DEV_TETHRA, 5, netInfo("10.0.0.9", 1));
  const VelDeviceId copied(remote);
  VelDeviceId assigned;
  assigned = remote;
  EXPECT_EQ(copied.netHostInfo(), netInfo("192.168.7.7", 2));
  EXPECT_EQ(assigned.netHostInfo(), netInfo("192.168.7.7", 2));
}

TEST(VelDeviceIdList, SetDevIdListTakesTheOtherListNotTheOther) {
  const VelDeviceId other = arrayTree();
  VelDeviceId target(DEV_ARRAY_HUB, 1);
  target.devIdList() = {id(DEV_BB, 1), id(DEV_BB, 2), id(DEV_BB, 3)};

  target.setDevIdList(other);
  const std::vector<VelDeviceId> expected = {id(DEV_AUREL_HF, 1), id(DEV_RELAY_HUB, 2)};
  EXPECT_EQ(target.cDevIdList(), expected);
  EXPECT_EQ(target, id(DEV_ARRAY_HUB, 1));  // the identity itself is untouched
  ASSERT_EQ(target.cDevIdList()[1].cDevIdList().size(), 1u);

  std::vector<VelDeviceId> list = {id(DEV_ROWAN, 8)};
  target.setDevIdList(list);
  list.front().setHostDevNo(5);
  ASSERT_EQ(target.cDevIdList().size(), 1u);
  EXPECT_EQ(target.cDevIdList()[0], id(DEV_ROWAN, 8));
  EXPECT_EQ(target.cDevIdList()[0].hostDevNo(), 0);

  // Sources that alias the target's own tree.
  target = arrayTree();
  target.setDevIdList(target);
  EXPECT_EQ(target.cDevIdList(), expected);
  target.setDevIdList(target.cDevIdList()[1]);
  ASSERT_EQ(target.cDevIdList().size(), 1u);
  EXPECT_EQ(target.cDevIdList()[0], id(DEV_VOCAN, 3));
}

TEST(VelDeviceIdName, FriendlyNames) {
  EXPECT_EQ(VelDeviceId().friendlyName(), "No device #0");
  VelDeviceId aurel(DEV_AUREL_HF, 1234);
  EXPECT_EQ(aurel.friendlyName(), "Aurel HF #1234");
  EXPECT_EQ(aurel.friendly2Name(), "Aurel HF\n #1234");
  aurel.setHostDevNo(3);
  EXPECT_EQ(aurel.friendlyName(), "Aurel HF #1234 (3)");
  EXPECT_EQ(aurel.friendly2Name(), "Aurel HF\n #1234\n (3)");
  EXPECT_EQ(id(0x11, 65535).friendlyName(), "Unrecognized Device #65535");
  EXPECT_EQ(id(0x43, 7).friendlyName(), "FFT Txt File,  #7");
}
