#include <veliface/settings/VelJobSettingsTag.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace {

using Bytes = std::vector<uint8>;

// The length field and value a tag writes, checked against a hand-written table; `*len`
// must grow by exactly that many bytes from a non-zero start.
void expectWire(const VelJobSettingsTag& tag, const Bytes& expected) {
  uint8 buf[64] = {};
  uint64 len = 100;
  tag.serialize(&len, buf);
  ASSERT_EQ(len, 100 + expected.size()) << tag.toString();
  EXPECT_EQ(Bytes(buf, buf + expected.size()), expected) << tag.toString();
}

TEST(SettingsTagWire, ScalarTagsWriteLengthFourAndTheValue) {
  expectWire(VelFftAccumTag(12u), {0x04, 0x00, 0x0C, 0x00, 0x00, 0x00});
  expectWire(VelSpecRefTag(-5), {0x04, 0x00, 0xFB, 0xFF, 0xFF, 0xFF});
  expectWire(HciSubnetTag(MavIpAddr("255.255.255.0").toInt()),
             {0x04, 0x00, 0x00, 0xFF, 0xFF, 0xFF});
  // Enumerations widen by their own signedness: the device type sign-extends, the 16-bit
  // pin function zero-extends.
  expectWire(HciDevTypeTag(DEV_UNSUPPORTED), {0x04, 0x00, 0xFF, 0xFF, 0xFF, 0xFF});
  expectWire(VelAuxPinTag(static_cast<AuxPinFunc>(0xFFFF)), {0x04, 0x00, 0xFF, 0xFF, 0x00, 0x00});
  EXPECT_EQ(HciDevTypeTag(DEV_UNSUPPORTED).value(), -1);
}

TEST(SettingsTagWire, ListTagsWriteCountedValues) {
  // Odd count: a zero word pads the value to a multiple of four bytes.
  expectWire(HciDeviceListTag(std::vector<uint16>{1201, 1202, 1203}),
             {0x0A, 0x00, 0x03, 0x00, 0xB1, 0x04, 0xB2, 0x04, 0xB3, 0x04, 0x00, 0x00});
  expectWire(HciDeviceListTag(std::vector<uint16>{1201, 1202}),
             {0x06, 0x00, 0x02, 0x00, 0xB1, 0x04, 0xB2, 0x04});
  expectWire(HciDeviceListTag(), {0x02, 0x00, 0x00, 0x00});

  HciDeviceIpListTag ips;
  ips.setHciAddr(MavIpAddr("192.168.0.10").toInt());
  expectWire(ips, {0x06, 0x00, 0x01, 0x00, 0x0A, 0x00, 0xA8, 0xC0});
  ips.addAddr(MavIpAddr("10.0.0.1").toInt());
  expectWire(ips, {0x0A, 0x00, 0x02, 0x00, 0x0A, 0x00, 0xA8, 0xC0, 0x01, 0x00, 0x00, 0x0A});
}

TEST(SettingsTagWire, ReadersTakeTheirLayoutAndStopAtTheEnd) {
  {
    // The padding word after an odd count is left for the enclosing message.
    const Bytes value = {0x03, 0x00, 0xB1, 0x04, 0xB2, 0x04, 0xB3, 0x04, 0x00, 0x00};
    ByteStream s(value.data(), value.size());
    std::unique_ptr<HciDeviceListTag> tag(HciDeviceListTag::deserialize(&s));
    EXPECT_EQ(tag->deviceList(), (std::vector<uint16>{1201, 1202, 1203}));
    EXPECT_EQ(s.bytesAvailable(), 2u);
  }
  {
    const Bytes value = {0x03, 0x00, 0xB1, 0x04, 0xB2};  // count 3, one and a half serials
    ByteStream s(value.data(), value.size());
    std::unique_ptr<HciDeviceListTag> tag(HciDeviceListTag::deserialize(&s));
    EXPECT_EQ(tag->deviceList(), (std::vector<uint16>{1201}));
  }
  {
    const Bytes value = {0x01, 0x00, 0x0A, 0x00, 0xA8, 0xC0, 0x01, 0x00, 0x00, 0x0A};
    ByteStream s(value.data(), value.size());
    std::unique_ptr<HciDeviceIpListTag> tag(HciDeviceIpListTag::deserialize(&s));
    EXPECT_TRUE(tag->addrList().empty());  // count 1 is the hub alone
    EXPECT_EQ(tag->hciAddr(), 0xC0A8000Au);
    EXPECT_EQ(s.bytesAvailable(), 4u);
  }
  {
    const Bytes value = {0x04, 0x00, 0x0A, 0x00, 0xA8, 0xC0, 0x01, 0x00, 0x00, 0x0A, 0x02};
    ByteStream s(value.data(), value.size());
    std::unique_ptr<HciDeviceIpListTag> tag(HciDeviceIpListTag::deserialize(&s));
    EXPECT_EQ(tag->addrList(), (std::vector<uint32>{0x0A000001u}));
  }
  {
    const Bytes value = {0x0C, 0x00, 0x00};  // a scalar needs four bytes
    ByteStream s(value.data(), value.size());
    std::unique_ptr<VelFftAccumTag> tag(VelFftAccumTag::deserialize(&s));
    EXPECT_EQ(tag->value(), 0u);
    EXPECT_TRUE(s.fail());
  }
}

TEST(SettingsTagText, FormsOfEachStyle) {
  EXPECT_EQ(VelPtsPerFftTag(1024u).toString(), "$FFT_PTS_PER=1024");
  EXPECT_EQ(VelSpecRefTag(-5).toString(), "$FFT_REF_LEVEL=-5");
  EXPECT_EQ(VelWavGainTag(4000000000u).toString(), "$WAVE_GAIN=4000000000");
  EXPECT_EQ(HciDnsTag(0x08080404u).toString(), "$ARRAY_DNS=8.8.4.4");
  EXPECT_EQ(HciDeviceListTag(std::vector<uint16>{1201, 1202}).toString(),
            "$ARRAY_SERIALS=1201,1202");
  EXPECT_EQ(HciDeviceListTag().toString(), "$ARRAY_SERIALS=");
  EXPECT_EQ(HciDeviceIpListTag().toString(), "$ARRAY_IP_ADDR=0.0.0.0");
  HciDeviceIpListTag ips(std::vector<uint32>{0xC0A80015u, 0xC0A80016u});
  ips.setHciAddr(0xC0A8000Au);
  EXPECT_EQ(ips.toString(), "$ARRAY_IP_ADDR=192.168.0.10,192.168.0.21,192.168.0.22");
}

TEST(SettingsTagText, FromStringBuildsTheKeysClass) {
  const auto accum = VelJobSettingsTag::fromString("$FFT_ACCUM=12");
  const auto* a = dynamic_cast<const VelFftAccumTag*>(accum.get());
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->value(), 12u);

  // Only the rest of the first line is the value.
  const auto ref = VelJobSettingsTag::fromString("$FFT_REF_LEVEL=-7\n$FFT_ACCUM=3");
  ASSERT_NE(dynamic_cast<const VelSpecRefTag*>(ref.get()), nullptr);
  EXPECT_EQ(dynamic_cast<const VelSpecRefTag&>(*ref).reference(), -7);

  // Negative text wraps for an unsigned tag.
  const auto gain = VelJobSettingsTag::fromString("$WAVE_GAIN=-1");
  EXPECT_EQ(dynamic_cast<const VelWavGainTag&>(*gain).value(), 0xFFFFFFFFu);

  const auto gw = VelJobSettingsTag::fromString("$ARRAY_GATEWAY=192.168.1.254");
  EXPECT_EQ(dynamic_cast<const HciGatewayTag&>(*gw).value(), 0xC0A801FEu);

  const auto ips = VelJobSettingsTag::fromString("$ARRAY_IP_ADDR=10.0.0.1,10.0.0.2");
  const auto& ipList = dynamic_cast<const HciDeviceIpListTag&>(*ips);
  EXPECT_EQ(ipList.hciAddr(), 0x0A000001u);
  EXPECT_EQ(ipList.addrList(), (std::vector<uint32>{0x0A000002u}));

  // Serials keep their low 16 bits.
  const auto serials = VelJobSettingsTag::fromString("$ARRAY_SERIALS=65537,7");
  EXPECT_EQ(dynamic_cast<const HciDeviceListTag&>(*serials).deviceList(),
            (std::vector<uint16>{1, 7}));
}

TEST(SettingsTagText, FromStringFailures) {
  EXPECT_EQ(VelJobSettingsTag::fromString("FFT_ACCUM=12"), nullptr);
  EXPECT_EQ(VelJobSettingsTag::fromString("$FFT_ACCUMX=12"), nullptr);
  EXPECT_EQ(VelJobSettingsTag::fromString("$fft_accum=12"), nullptr);
  EXPECT_EQ(VelJobSettingsTag::fromString(""), nullptr);
  EXPECT_EQ(VelJobSettingsTag::fromString("$=12"), nullptr);

  EXPECT_THROW(VelJobSettingsTag::fromString("$FFT_ACCUM=many"), std::invalid_argument);
  EXPECT_THROW(VelJobSettingsTag::fromString("$FFT_ACCUM"), std::invalid_argument);  // no "="
  EXPECT_THROW(VelJobSettingsTag::fromString("$ARRAY_SERIALS=1,x"), std::invalid_argument);
  EXPECT_THROW(VelJobSettingsTag::fromString("$FFT_ACCUM=99999999999"), std::out_of_range);
}

TEST(SettingsTagText, KeyNames) {
  EXPECT_EQ(VelJobSettingsTag::keyName(AUX_MSG), "AUX_MSG");
  EXPECT_EQ(VelJobSettingsTag::keyName(ARRAY_IP_ADDR), "ARRAY_IP_ADDR");
  EXPECT_EQ(VelJobSettingsTag::keyName(static_cast<JobTagKey>(32769)), "Unrecognized Key (32769)");
  EXPECT_EQ(VelJobSettingsTag::keyName(static_cast<JobTagKey>(21)), "Unrecognized Key (21)");
}

// A tag under a key outside the table, as only a host's own subclass can make.
class ForeignTag : public VelJobSettingsTag {
 public:
  ForeignTag() : VelJobSettingsTag(static_cast<JobTagKey>(0x7ABC)) {}
  void serialize(uint64* len, uint8* /*buf*/) const override { *len += 0; }
  std::string toString() const override { return keyString(); }
};

TEST(SettingsTagText, KeyStringEntersAnUnknownKeyWithAnEmptyName) {
  const auto key = static_cast<JobTagKey>(0x7ABC);
  EXPECT_EQ(VelJobSettingsTag::keyName(key), "Unrecognized Key (31420)");
  EXPECT_EQ(ForeignTag().keyString(), "$=");
  EXPECT_EQ(VelJobSettingsTag::keyName(key), "");
}

TEST(SettingsListTags, MutatorsKeepDuplicatesAndRemoveTheFirstOnly) {
  HciDeviceListTag serials(std::vector<uint16>{5, 7});
  serials.addDevice(5);
  EXPECT_EQ(serials.deviceList(), (std::vector<uint16>{5, 7, 5}));
  serials.removeDevice(5);
  EXPECT_EQ(serials.deviceList(), (std::vector<uint16>{7, 5}));
  serials.removeDevice(9);
  EXPECT_EQ(serials.deviceList(), (std::vector<uint16>{7, 5}));
  EXPECT_TRUE(serials.containsDevice(5));
  EXPECT_FALSE(serials.containsDevice(9));

  HciDeviceIpListTag ips(std::vector<uint32>{1, 2, 1});
  ips.removeAddr(1);
  EXPECT_EQ(ips.addrList(), (std::vector<uint32>{2, 1}));
  EXPECT_EQ(ips.hciAddr(), 0u);
}

}  // namespace
