#include <veliface/control/VelControlProcessor.h>
#include <veliface/settings/VelJobSetup.h>

#include <LogCapture.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<uint8>;

Bytes payloadOf(const VelControlMsgPayload& p) {
  uint8 buf[256] = {};
  uint64 len = 0;
  p.serialize(&len, buf);
  return Bytes(buf, buf + len);
}

TEST(JobSetupRequest, PayloadLayouts) {
  EXPECT_EQ(payloadOf(VelJobSetupCmd({}, JOB_SETUP_TAG_BASED)), (Bytes{0x14, 0x00, 0x00, 0x00}));

  JobTagMap tags;
  tags[ARRAY_SERIALS] = std::make_shared<HciDeviceListTag>(std::vector<uint16>{1201, 1202});
  tags[FFT_ACCUM] = std::make_shared<VelFftAccumTag>(12u);
  // Ascending key order, each key followed by the tag's length and value.
  EXPECT_EQ(payloadOf(VelJobSetupCmd(tags, JOB_SETUP_TAG_BASED)),
            (Bytes{0x14, 0x00, 0x02, 0x00,                          //
                   0x07, 0x00, 0x04, 0x00, 0x0C, 0x00, 0x00, 0x00,  //
                   0x00, 0x80, 0x06, 0x00, 0x02, 0x00, 0xB1, 0x04, 0xB2, 0x04}));
  // Any other setup type is sent alone, tags or not.
  EXPECT_EQ(payloadOf(VelJobSetupCmd(tags, static_cast<JobSetupType>(5))), (Bytes{0x05, 0x00}));
  EXPECT_EQ(payloadOf(VelJobSetupEnq(tags, JOB_SETUP_TAG_BASED)), (Bytes{0x14, 0x00}));

  EXPECT_EQ(VelJobSetupCmd().commandCode(), 0x44);
  EXPECT_EQ(VelJobSetupEnq().commandCode(), 0x46);
}

// The two responses share their body; the enquiry puts a status byte in front.
template <class Response>
std::unique_ptr<Response> parse(Bytes body, uint8 status = 0x5A) {
  if (std::is_same_v<Response, VelJobSetupEnq>) body.insert(body.begin(), status);
  return std::unique_ptr<Response>(Response::create(body.data(), body.size()));
}

template <class Response>
class JobSetupResponse : public ::testing::Test {
 protected:
  static std::string prefix() {
    return std::is_same_v<Response, VelJobSetupCmd> ? "VelJobSetupCmd::deserialize: "
                                                    : "VelJobSetupEnq::deserialize: ";
  }
};
using ResponseClasses = ::testing::Types<VelJobSetupCmd, VelJobSetupEnq>;
struct ResponseName {
  template <class T>
  static std::string GetName(int /*index*/) {
    return std::is_same_v<T, VelJobSetupCmd> ? "Cmd" : "Enq";
  }
};
TYPED_TEST_SUITE(JobSetupResponse, ResponseClasses, ResponseName);

TYPED_TEST(JobSetupResponse, UnknownKeyIsLoggedAndSkippedByItsLength) {
  LogCapture log;
  const auto r = parse<TypeParam>({0x14, 0x00, 0x03, 0x00,                          //
                                   0x01, 0x80, 0x06, 0x00, 0x07, 0x00, 0x04, 0x00, 0x99, 0x99,
                                   0x07, 0x00, 0x04, 0x00, 0x0C, 0x00, 0x00, 0x00,  //
                                   0x07, 0x00, 0x04, 0x00, 0x0D, 0x00, 0x00, 0x00});
  EXPECT_EQ(log.lines(),
            std::vector<std::string>{this->prefix() + "Unrecognized key, ignoring: 32769"});
  ASSERT_EQ(r->jobSetup().size(), 1u);
  EXPECT_FALSE(r->isError());
  // A repeated key replaces the earlier tag.
  EXPECT_EQ(r->jobSetup().at(FFT_ACCUM)->toString(), "$FFT_ACCUM=13");
}

TYPED_TEST(JobSetupResponse, AKnownTagCutShortIsStillStored) {
  // A rate of which two value bytes arrived: the tag is there, its value unread.
  const auto scalar = parse<TypeParam>({0x14, 0x00, 0x02, 0x00,  //
                                        0x07, 0x00, 0x04, 0x00, 0x0C, 0x00, 0x00, 0x00,  //
                                        0x0E, 0x00, 0x04, 0x00, 0x80, 0xBB});
  ASSERT_EQ(scalar->jobSetup().size(), 2u);
  EXPECT_EQ(scalar->jobSetup().at(FFT_ACCUM)->toString(), "$FFT_ACCUM=12");
  ASSERT_TRUE(scalar->containsTag(WAVE_SAMPLE_RATE));
  EXPECT_EQ(scalar->jobSetup().at(WAVE_SAMPLE_RATE)->tagKey(), WAVE_SAMPLE_RATE);

  // A device list whose count is missing, and an address list whose hub address is: both
  // stored, empty.
  const auto serials = parse<TypeParam>({0x14, 0x00, 0x01, 0x00, 0x00, 0x80, 0x06, 0x00, 0x02});
  ASSERT_TRUE(serials->containsTag(ARRAY_SERIALS));
  EXPECT_TRUE(dynamic_cast<const HciDeviceListTag&>(*serials->jobSetup().at(ARRAY_SERIALS)).deviceList().empty());
  const auto addrs = parse<TypeParam>({0x14, 0x00, 0x01, 0x00, 0x02, 0x80, 0x0A, 0x00, 0x02, 0x00, 0x0A});
  ASSERT_TRUE(addrs->containsTag(ARRAY_IP_ADDR));
  const auto& list = dynamic_cast<const HciDeviceIpListTag&>(*addrs->jobSetup().at(ARRAY_IP_ADDR));
  EXPECT_EQ(list.hciAddr(), 0u);
  EXPECT_TRUE(list.addrList().empty());
}

TYPED_TEST(JobSetupResponse, ErrorResponseCarriesTheRecord) {
  LogCapture log;
  const auto r = parse<TypeParam>({0xFF, 0xFF, 0xF3, 0xFF, 0x14, 0x00, 0x0F, 0x00});
  EXPECT_EQ(log.lines(), std::vector<std::string>{this->prefix() + "JobSetup Error Returned!"});
  EXPECT_TRUE(r->isError());
  ASSERT_NE(r->error(), nullptr);
  EXPECT_EQ(r->error()->badTagKey(), WAVE_BIT_DEPTH);
  EXPECT_EQ(r->error()->setupType(), JOB_SETUP_TAG_BASED);
  EXPECT_EQ(r->error()->toString(), "Job Setup Error: Unrecognized Tag: WAVE_BIT_DEPTH");
  EXPECT_TRUE(r->jobSetup().empty());
}

TYPED_TEST(JobSetupResponse, OtherSetupTypesCarryNothing) {
  LogCapture log;
  const auto r = parse<TypeParam>({0x05, 0x00, 0x07, 0x00, 0x04, 0x00});
  EXPECT_EQ(log.lines(), std::vector<std::string>{this->prefix() + "Non Tag-Based setup."});
  EXPECT_EQ(r->setupType(), 5);
  EXPECT_TRUE(r->jobSetup().empty());
  EXPECT_FALSE(r->isError());
  EXPECT_EQ(r->error(), nullptr);
}

TEST(JobSetupResponse, EmptyEntriesDifferBetweenTheTwoResponses) {
  const Bytes body = {0x14, 0x00, 0x02, 0x00,  //
                      0x04, 0x00, 0x00, 0x00,  // FFT_PTS_PER, length 0
                      0x07, 0x00, 0x04, 0x00, 0x0C, 0x00, 0x00, 0x00};
  // The enquiry passes over a key the device holds no value for ...
  const auto enq = parse<VelJobSetupEnq>(body, 0x03);
  EXPECT_EQ(enq->status(), 0x03);
  EXPECT_FALSE(enq->containsTag(FFT_PTS_PER));
  ASSERT_TRUE(enq->containsTag(FFT_ACCUM));
  EXPECT_EQ(enq->jobSetup().at(FFT_ACCUM)->toString(), "$FFT_ACCUM=12");
  // ... the setup response reads a known key by its layout, whatever its length says: the
  // next entry's key and length become its value, and that entry's value becomes key 12
  // with a length, whose own value the payload cuts short.
  const auto cmd = parse<VelJobSetupCmd>(body);
  ASSERT_TRUE(cmd->containsTag(FFT_PTS_PER));
  EXPECT_EQ(cmd->jobSetup().at(FFT_PTS_PER)->toString(), "$FFT_PTS_PER=262151");
  EXPECT_EQ(cmd->jobSetup().size(), 2u);
  EXPECT_TRUE(cmd->containsTag(static_cast<JobTagKey>(12)));
  EXPECT_FALSE(cmd->containsTag(FFT_ACCUM));
}

TEST(JobSetupResponse, EnquiryResponseIsDeliveredByTheControlProcessor) {
  // Code 0x46 goes to the end state without its CRC, so any two bytes may follow.
  const Bytes frame = {0x2A, 0x46, 0x0D, 0x00,  //
                       0x01, 0x14, 0x00, 0x01, 0x00, 0x03, 0x00, 0x04, 0x00, 0xB5, 0xFF, 0xFF,
                       0xFF, 0xEE, 0xEE};
  CircularByteBuffer buffer(64);
  buffer.write(frame.data(), frame.size());
  VelControlProcessor processor;
  const auto message = processor.pump(buffer);
  ASSERT_NE(message, nullptr);
  const auto* enq = dynamic_cast<const VelJobSetupEnq*>(message->payload().get());
  ASSERT_NE(enq, nullptr);
  EXPECT_EQ(enq->status(), 1);
  ASSERT_TRUE(enq->containsTag(FFT_REF_LEVEL));
  EXPECT_EQ(enq->jobSetup().at(FFT_REF_LEVEL)->toString(), "$FFT_REF_LEVEL=-75");
  EXPECT_EQ(buffer.bytesAvailable(), 2u);
}

TEST(JobSetupError, TextOfEveryCode) {
  const struct {
    uint16 code;
    const char* text;
  } rows[] = {
      {0xFFF3, "Unrecognized Tag: AUX_PIN"},
      {0xFFF4, "Invalid tag length: AUX_PIN"},
      {0xFFF5, "Invalid or conflicting value: \n"},
      {0xFFF6, "Invalid time."},
      {0xFFF7, "Non-zero bytes found in reserved area."},
      {0xFFF8, "Invalid duty cycle settings."},
      {0xFFF9, "Failed to communicate with DSP."},
      {0xFFFA, "Memory allocation failed."},
      {0xFFFB, "Message payload was too small for the message type."},
      {0xFFFC, "Unused Error Code."},
      {0xFFFD, "Trigger could generate too much data."},
      {0xFFFE, "Too much data to log (change sample rate)."},
      {0xFFFF, "The device is not ready to receive setup messages."},
      {0x0005, "Unknown Error"},
      {0xFFF2, "Unknown Error"},
  };
  for (const auto& row : rows) {
    const VelJobSetupErr err(static_cast<JobErrCode>(row.code), JOB_SETUP_TAG_BASED);
    EXPECT_EQ(err.toString(), std::string("Job Setup Error: ") + row.text) << row.code;
  }
}

TEST(JobSetupError, VerdictListInKeyOrderSkippingAccepted) {
  VelJobSetupErr err(JOB_ERR_TAG_VALUE, JOB_SETUP_TAG_BASED);
  err.addErr(WAVE_GAIN, TAG_INVALID);
  err.addErr(FFT_PTS_PER, TAG_TOO_HIGH);
  err.addErr(FFT_ACCUM, TAG_OK);
  EXPECT_EQ(err.toString(),
            "Job Setup Error: Invalid or conflicting value: \n"
            "FFT_PTS_PER: Too High; WAVE_GAIN: Value is not valid; ");

  // Verdicts 6 and up give the name alone; an unknown key its fallback name.
  VelJobSetupErr odd(JOB_ERR_TAG_VALUE, JOB_SETUP_TAG_BASED);
  odd.addErr(FFT_TYPE, static_cast<TagErrCode>(6));
  odd.addErr(static_cast<JobTagKey>(32769), TAG_CONFLICT);
  odd.addErr(AUX_PIN, TAG_UNCHECKED);
  odd.addErr(AUX_MSG, TAG_TOO_LOW);
  EXPECT_EQ(odd.toString(),
            "Job Setup Error: Invalid or conflicting value: \n"
            "AUX_PIN: Unchecked; FFT_TYPE: AUX_MSG: Too Low; "
            "Unrecognized Key (32769): Value is in conflict with another tag value; ");

  VelJobSetupErr allOk(JOB_ERR_TAG_VALUE, JOB_SETUP_TAG_BASED);
  allOk.addErr(FFT_ACCUM, TAG_OK);
  EXPECT_EQ(allOk.toString(), "Job Setup Error: Invalid or conflicting value: \n");
}

TEST(JobSetupError, RecordLayouts) {
  {
    // Verdict pairs; a repeated key replaces the earlier verdict.
    const Bytes rec = {0xF5, 0xFF, 0x14, 0x00, 0x03, 0x00, 0x04, 0x00, 0x04, 0x00,
                       0x10, 0x00, 0x01, 0x00, 0x04, 0x00, 0x05, 0x00};
    std::unique_ptr<VelJobSetupErr> err(VelJobSetupErr::create(rec.data(), rec.size()));
    EXPECT_EQ(err->errorCode(), JOB_ERR_TAG_VALUE);
    EXPECT_EQ(err->tagErrors(),
              (std::map<JobTagKey, TagErrCode>{{FFT_PTS_PER, TAG_TOO_LOW}, {WAVE_GAIN, TAG_INVALID}}));
    EXPECT_EQ(err->badTagKey(), 0);
  }
  {
    const Bytes rec = {0xF4, 0xFF, 0x14, 0x00, 0x01, 0x80};
    std::unique_ptr<VelJobSetupErr> err(VelJobSetupErr::create(rec.data(), rec.size()));
    EXPECT_EQ(err->toString(), "Job Setup Error: Invalid tag length: Unrecognized Key (32769)");
  }
  {
    // Other codes end after the setup type; a count of verdicts would not be read.
    const Bytes rec = {0xF6, 0xFF, 0x07, 0x00, 0x01, 0x00, 0x04, 0x00, 0x04, 0x00};
    std::unique_ptr<VelJobSetupErr> err(VelJobSetupErr::create(rec.data(), rec.size()));
    EXPECT_EQ(err->errorCode(), JOB_ERR_TIME);
    EXPECT_EQ(err->setupType(), 7);
    EXPECT_TRUE(err->tagErrors().empty());
  }
  {
    // Cut in the second pair: the first verdict stays.
    const Bytes rec = {0xF5, 0xFF, 0x14, 0x00, 0x02, 0x00, 0x04, 0x00, 0x04, 0x00, 0x10};
    std::unique_ptr<VelJobSetupErr> err(VelJobSetupErr::create(rec.data(), rec.size()));
    EXPECT_EQ(err->tagErrors(), (std::map<JobTagKey, TagErrCode>{{FFT_PTS_PER, TAG_TOO_HIGH}}));
  }
  {
    // Nothing readable: the defaults.
    std::unique_ptr<VelJobSetupErr> err(VelJobSetupErr::create(nullptr, 0));
    EXPECT_EQ(err->errorCode(), JOB_ERR_TAG_VALUE);
    EXPECT_EQ(err->setupType(), JOB_SETUP_TAG_BASED);
  }
}

}  // namespace
