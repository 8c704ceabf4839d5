#include <veliface/host/ControlSession.h>

#include <veliface/control/VelEnquireCmd.h>
#include <veliface/control/VelSmallCmd.h>

#include <ControlFrames.h>
#include <LogCapture.h>
#include <SplitFeed.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<uint8>;
using veliface::host::ControlSession;
using veliface::host::ControlStatus;
using veliface::host::HostTime;
using veliface::test::cat;
using veliface::test::responseFrame;

const Bytes kEnquireRequest = {0x2A, 0x45, 0x00, 0x00, 0xB8, 0xA9};

Bytes enquireAnswer() { return responseFrame(0x45, veliface::test::enquirePayload()); }

const VelEnquireCmd* enquiry(const ControlSession& s) {
  return s.answer() ? dynamic_cast<const VelEnquireCmd*>(s.answer()->payload().get()) : nullptr;
}

}  // namespace

TEST(ControlSession, AnAnswerSplitAtAnyByteIsDecoded) {
  // The control processor alone drops an answer whose payload arrives in pieces; through
  // the session every cut of the answer, with noise before it, still gives the device.
  const Bytes answer = cat({{0x01, 0x2A, 0x02}, enquireAnswer()});
  for (std::size_t cut = 0; cut <= answer.size(); ++cut) {
    LogCapture log;
    ControlSession s;
    s.start(std::make_shared<VelEnquireCmd>(), HostTime(0));
    EXPECT_EQ(s.takeOutgoing(), kEnquireRequest);
    s.receive(answer.data(), cut, HostTime(10));
    s.receive(answer.data() + cut, answer.size() - cut, HostTime(20));
    ASSERT_EQ(s.status(), ControlStatus::Answered) << "cut at " << cut;
    ASSERT_NE(enquiry(s), nullptr);
    EXPECT_EQ(enquiry(s)->serial(), 0x1234);
    EXPECT_EQ(enquiry(s)->firmwareVer(), "1.2.3");
    EXPECT_EQ(s.tries(), 1);
    EXPECT_TRUE(log.lines().empty());
  }
}

TEST(ControlSession, ABadCrcIsAskedAgainAtOnce) {
  // The processor never reads the CRC of an enquire answer; the session does.
  Bytes damaged = enquireAnswer();
  damaged[10] ^= 0x01;
  ControlSession s;
  s.start(std::make_shared<VelEnquireCmd>(), HostTime(0));
  s.takeOutgoing();
  s.receive(damaged.data(), damaged.size(), HostTime(5));
  EXPECT_EQ(s.status(), ControlStatus::Waiting);
  EXPECT_EQ(s.takeOutgoing(), kEnquireRequest);  // asked again without waiting
  EXPECT_EQ(s.tries(), 2);
  EXPECT_EQ(s.badCrcFrames(), 1u);
  const auto notes = s.takeNotes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].text, "bad CRC on the answer to Enquire, asking again");

  const Bytes good = enquireAnswer();
  s.receive(good.data(), good.size(), HostTime(9));
  EXPECT_EQ(s.status(), ControlStatus::Answered);

  // A device that always damages its answer: the request ends after the tries.
  ControlSession t(ControlSession::Settings{3, HostTime(100)});
  t.start(std::make_shared<VelEnquireCmd>(), HostTime(0));
  for (int i = 0; i < 3; ++i) t.receive(damaged.data(), damaged.size(), HostTime(i));
  EXPECT_EQ(t.status(), ControlStatus::BadCrc);
  EXPECT_EQ(t.answer(), nullptr);
  EXPECT_EQ(t.takeOutgoing().size(), 3 * kEnquireRequest.size());
}

TEST(ControlSession, SilenceIsAskedAgainAfterTheTimeoutAndFailsAfterTheTries) {
  ControlSession s(ControlSession::Settings{2, HostTime(500)});
  s.start(std::make_shared<VelEnquireCmd>(), HostTime(1000));
  EXPECT_EQ(s.deadline(), HostTime(1500));
  s.takeOutgoing();
  s.tick(HostTime(1499));
  EXPECT_TRUE(s.takeOutgoing().empty());
  s.tick(HostTime(1500));
  EXPECT_EQ(s.takeOutgoing(), kEnquireRequest);
  EXPECT_EQ(s.deadline(), HostTime(2000));
  s.tick(HostTime(2000));
  EXPECT_EQ(s.status(), ControlStatus::TimedOut);
  EXPECT_TRUE(s.takeOutgoing().empty());
  EXPECT_EQ(s.tries(), 2);
}

TEST(ControlSession, OnlyAnAnswerOfTheRequestsCodeCounts) {
  // A reset answer while waiting for the enquiry is set aside; the CRC bytes that the
  // processor leaves unread never disturb the next frame.
  const Bytes reset = {0x2A, 0x59, 0x00, 0x00, 0xBA, 0x9F};
  const Bytes setTime230 = {0x2A, 0x41, 0x04, 0x00, 0xE6, 0x00, 0x00, 0x00, 0x4B, 0x2A};
  ControlSession s;
  s.start(std::make_shared<VelSetTimeCmd>(230), HostTime(0));
  const Bytes bytes = cat({reset, setTime230});
  s.receive(bytes.data(), bytes.size(), HostTime(1));
  ASSERT_EQ(s.status(), ControlStatus::Answered);
  const auto* t = dynamic_cast<const VelSetTimeCmd*>(s.answer()->payload().get());
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->time(), 230);
  const auto notes = s.takeNotes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].kind, veliface::host::ControlNote::Kind::Unrelated);

  // The next request finds a clean channel: the unread CRC 4B 2A of the set-time answer
  // would have been taken as a frame start by the processor alone.
  s.start(std::make_shared<VelResetCmd>(), HostTime(2));
  s.receive(reset.data(), reset.size(), HostTime(3));
  EXPECT_EQ(s.status(), ControlStatus::Answered);
}
