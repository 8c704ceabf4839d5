// Runs the velsim program and talks to it over loopback like a host would.

#include <sim/SimStream.h>

#include <mavcommon/CircularByteBuffer.h>
#include <veliface/control/VelControlProcessor.h>
#include <veliface/control/VelEnquireCmd.h>
#include <veliface/stream/VelStreamNotifyPayload.h>
#include <veliface/stream/VelStreamPayloads.h>
#include <veliface/stream/VelStreamProcessor.h>

#include <ProcessRunner.h>
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace {

using velsim::Bytes;
using testsupport::ChildProcess;
using testsupport::connectLoopback;
using testsupport::fields;

TEST(Velsim, EnquireThenStreamTwoSecondsAndCompareTheSummary) {
  const char* exe = std::getenv("VELSIM");
  ASSERT_NE(exe, nullptr);
  ChildProcess velsim({exe, "--fast", "--duration", "2", "--sample-rate", "8000", "--serial", "777",
                "--control-port", "0", "--waveform-port", "0", "--spectrum-port", "0",
                "--discovery-port", "0", "--seed", "5"});
  std::map<std::string, int> ports;
  for (const char* name : {"control", "waveform", "spectrum", "discovery"}) {
    const std::string l = velsim.until(std::string("velsim: ") + name + " port ");
    ASSERT_FALSE(l.empty()) << name;
    ports[name] = std::stoi(l.substr(l.rfind(' ') + 1));
    EXPECT_GT(ports[name], 0);
  }

  // Control: enquire and decode the answer with the library.
  const int ctl = connectLoopback(ports["control"]);
  ASSERT_GE(ctl, 0);
  Bytes req(16);
  uint64 len = 0;
  VelControlMessage(std::make_shared<VelEnquireCmd>()).serialize(&len, req.data());
  ASSERT_EQ(send(ctl, req.data(), len, 0), static_cast<ssize_t>(len));
  CircularByteBuffer cbuf(4096);
  VelControlProcessor proc;
  std::shared_ptr<VelControlMessage> msg;
  for (int tries = 0; tries < 100 && !msg; ++tries) {
    uint8 b[512];
    const ssize_t n = recv(ctl, b, sizeof b, 0);
    if (n <= 0) break;
    cbuf.write(b, static_cast<std::size_t>(n));
    msg = proc.pump(cbuf);
  }
  ASSERT_TRUE(msg);
  auto enq = std::dynamic_pointer_cast<VelEnquireCmd>(msg->payload());
  ASSERT_TRUE(enq);
  EXPECT_EQ(enq->serial(), 777);
  EXPECT_EQ(enq->devType(), 5);

  // Waveform: start message, then read until velsim closes after two simulated seconds.
  const int wav = connectLoopback(ports["waveform"]);
  ASSERT_GE(wav, 0);
  const auto& start = velsim::StreamFrameEncoder::startMessage();
  ASSERT_EQ(send(wav, start.data(), start.size(), 0), 4);
  const auto stream = testsupport::readAll(wav);
  close(wav);

  CircularByteBuffer sbuf(stream.size() + 16);
  sbuf.write(stream.data(), stream.size());
  VelStreamProcessor sp(VEL_STREAM_WAVEFORM);
  std::vector<uint32> notes;
  uint64 samples = 0, frames = 0, headers = 0;
  veliface::host::SampleChecksum checksum;
  while (auto m = sp.pump(sbuf)) {
    const auto p = m->payload();
    if (auto n = std::dynamic_pointer_cast<VelStreamNotifyPayload>(p)) notes.push_back(n->errorCode());
    if (std::dynamic_pointer_cast<VelStreamEventHeaderPayload>(p)) ++headers;
    if (auto d = std::dynamic_pointer_cast<VelStreamDataPayload>(p)) {
      EXPECT_EQ(d->data()->sampleNum(), samples);
      samples += d->data()->numSamples();
      ++frames;
      checksum.update(d->data()->data().get(), d->data()->dataSize());
    }
  }
  EXPECT_EQ(notes, (std::vector<uint32>{0, 3}));  // no error, then "Stream is stopped."
  EXPECT_EQ(samples, 16000u);

  const auto summary = fields(velsim.until("velsim: waveform samples="));
  ASSERT_FALSE(summary.empty());
  EXPECT_EQ(summary.at("samples"), std::to_string(samples));
  EXPECT_EQ(summary.at("frames"), std::to_string(frames));
  EXPECT_EQ(summary.at("headers"), std::to_string(headers));
  EXPECT_EQ(summary.at("dropped"), "0");
  char hex[32];
  std::snprintf(hex, sizeof hex, "0x%016llx", static_cast<unsigned long long>(checksum.value()));
  EXPECT_EQ(summary.at("checksum"), hex);

  close(ctl);
  // With a duration set, velsim ends once its streams have.
  EXPECT_FALSE(velsim.until("velsim: exit").empty());
  EXPECT_EQ(velsim.wait(), 0);
}

}  // namespace
