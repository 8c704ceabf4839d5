#include <veliface/device/VelDeviceId.h>

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace {

MavNetHostInfo netInfo(const char* ip) {
  MavNetHostInfo n;
  n.setIpAddr(MavIpAddr(ip));
  return n;
}

VelDeviceId id(int type, unsigned short serial, unsigned short host = 0) {
  VelDeviceId d(static_cast<VelDeviceType>(type), serial);
  d.setHostDevNo(host);
  return d;
}

// An array host with two units, the second of which has a unit of its own.
VelDeviceId arrayTree() {
  VelDeviceId host(DEV_ARRAY_HUB, 100, netInfo("10.0.0.50"));
  host.setHostDevNo(7);
  host.devIdList() = {id(DEV_AUREL_HF, 1, 1), id(DEV_RELAY_HUB, 2, 2)};
  host.devIdList()[1].devIdList().push_back(id(DEV_VOCAN, 3));
  return host;
}

// Reports network information other than what it stores.
class RemoteId : public VelDeviceId {
 public:
  using VelDeviceId::VelDeviceId;
  MavNetHostInfo netHostInfo() const override { return netInfo("192.168.7.7"); }
};

}  // namespace

TEST(VelDeviceId, OrderIsSignedTypeThenSerialAndEqualityIgnoresTheRest) {
  EXPECT_TRUE(id(-1, 9) < id(0, 1));  // 0xFF before 0x00
  EXPECT_FALSE(id(0, 1) < id(-1, 9));
  EXPECT_TRUE(id(0x10, 1) < id(0x41, 0));
  EXPECT_TRUE(id(5, 1) < id(5, 65535));  // serials unsigned
  EXPECT_FALSE(id(5, 65535) < id(5, 1));
  EXPECT_FALSE(id(5, 7) < id(5, 7));

  VelDeviceId a(DEV_AUREL_HF, 1234, netInfo("10.0.0.3"));
  VelDeviceId b(DEV_AUREL_HF, 1234, netInfo("10.0.0.4"));
  b.setHostDevNo(3);
  b.devIdList().push_back(id(DEV_VOCAN, 1));
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a != b);
  EXPECT_EQ(std::set<VelDeviceId>({a, b}).size(), 1u);  // equivalent exactly when equal
  EXPECT_TRUE(a != id(DEV_AUREL_HF, 1235));
  EXPECT_TRUE(a != id(DEV_VOCAN_HF, 1234));
}

TEST(VelDeviceId, CopiesAreDeepAndTakeTheSourcesNetworkAccessor) {
  const VelDeviceId source = arrayTree();
  VelDeviceId copied(source);
  VelDeviceId assigned = id(DEV_QBIF, 9);
  assigned.devIdList() = {id(DEV_BB, 1), id(DEV_BB, 2), id(DEV_BB, 3)};
  assigned = source;

  for (VelDeviceId* c : {&copied, &assigned}) {
    EXPECT_EQ(c->hostDevNo(), 7);
    EXPECT_EQ(c->netHostInfo(), netInfo("10.0.0.50"));
    ASSERT_EQ(c->cDevIdList(), source.cDevIdList());
    ASSERT_EQ(c->cDevIdList()[1].cDevIdList(), std::vector<VelDeviceId>{id(DEV_VOCAN, 3)});
    c->devIdList()[1].devIdList()[0] = id(DEV_ROWAN, 99);
    c->devIdList()[0].setHostDevNo(42);
  }
  EXPECT_EQ(source.cDevIdList()[0].hostDevNo(), 1);
  EXPECT_EQ(source.cDevIdList()[1].cDevIdList()[0], id(DEV_VOCAN, 3));

  const RemoteId remote(DEV_TETHRA, 5, netInfo("10.0.0.9"));
  assigned = remote;
  EXPECT_EQ(VelDeviceId(remote).netHostInfo(), netInfo("192.168.7.7"));
  EXPECT_EQ(assigned.netHostInfo(), netInfo("192.168.7.7"));
}

TEST(VelDeviceId, SetDevIdListCopiesTheOthersListNotTheOther) {
  VelDeviceId target(DEV_ARRAY_HUB, 1);
  target.devIdList() = {id(DEV_BB, 1), id(DEV_BB, 2), id(DEV_BB, 3)};
  target.setDevIdList(arrayTree());
  const std::vector<VelDeviceId> members = {id(DEV_AUREL_HF, 1), id(DEV_RELAY_HUB, 2)};
  EXPECT_EQ(target.cDevIdList(), members);
  EXPECT_EQ(target.cDevIdList()[1].cDevIdList().size(), 1u);
  EXPECT_EQ(target, id(DEV_ARRAY_HUB, 1));

  std::vector<VelDeviceId> list = {id(DEV_ROWAN, 8)};
  target.setDevIdList(list);
  list.front().setHostDevNo(5);
  EXPECT_EQ(target.cDevIdList()[0].hostDevNo(), 0);

  // Sources inside the target's own tree.
  target = arrayTree();
  target.setDevIdList(target);
  EXPECT_EQ(target.cDevIdList(), members);
  target.setDevIdList(target.cDevIdList()[1]);
  EXPECT_EQ(target.cDevIdList(), std::vector<VelDeviceId>{id(DEV_VOCAN, 3)});
}

TEST(VelDeviceId, FriendlyNames) {
  EXPECT_EQ(VelDeviceId().friendlyName(), "No device #0");
  EXPECT_EQ(id(DEV_AUREL_HF, 1234).friendlyName(), "Aurel HF #1234");
  EXPECT_EQ(id(DEV_AUREL_HF, 1234, 3).friendlyName(), "Aurel HF #1234 (3)");
  EXPECT_EQ(id(DEV_AUREL_HF, 1234).friendly2Name(), "Aurel HF\n #1234");
  EXPECT_EQ(id(DEV_AUREL_HF, 1234, 3).friendly2Name(), "Aurel HF\n #1234\n (3)");
  EXPECT_EQ(id(0x11, 65535).friendlyName(), "Unrecognized Device #65535");
}
