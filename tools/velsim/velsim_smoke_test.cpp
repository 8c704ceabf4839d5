// Runs the velsim program and talks to it over loopback like a host would.

#include <sim/SimStream.h>

#include <mavcommon/CircularByteBuffer.h>
#include <veliface/control/VelControlProcessor.h>
#include <veliface/control/VelEnquireCmd.h>
#include <veliface/stream/VelStreamNotifyPayload.h>
#include <veliface/stream/VelStreamPayloads.h>
#include <veliface/stream/VelStreamProcessor.h>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using velsim::Bytes;

// velsim as a child process whose standard output we read line by line.
class Child {
 public:
  explicit Child(const std::vector<std::string>& args) {
    int fds[2];
    if (pipe(fds) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(fds[1], 1);
      close(fds[0]);
      close(fds[1]);
      std::vector<char*> argv;
      for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(fds[1]);
    out_ = fds[0];
  }
  ~Child() {
    if (pid_ > 0 && !reaped_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (out_ >= 0) close(out_);
  }
  // The next line, or "" after `ms` milliseconds without one or at the end.
  std::string line(int ms = 10000) {
    for (;;) {
      const auto nl = buf_.find('\n');
      if (nl != std::string::npos) {
        std::string l = buf_.substr(0, nl);
        buf_.erase(0, nl + 1);
        return l;
      }
      pollfd p{out_, POLLIN, 0};
      if (poll(&p, 1, ms) <= 0) return "";
      char tmp[512];
      const ssize_t n = read(out_, tmp, sizeof tmp);
      if (n <= 0) return "";
      buf_.append(tmp, static_cast<std::size_t>(n));
    }
  }
  // Lines until one starts with `prefix` (returned) or the output ends ("").
  std::string until(const std::string& prefix) {
    for (std::string l = line(); !l.empty(); l = line()) {
      if (l.rfind(prefix, 0) == 0) return l;
    }
    return "";
  }
  int wait() {
    int status = 0;
    waitpid(pid_, &status, 0);
    reaped_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  bool reaped_ = false;
  std::string buf_;
};

int connectTo(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  timeval tv{10, 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

Bytes readAll(int fd) {
  Bytes all;
  uint8 buf[65536];
  for (;;) {
    const ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) break;
    all.insert(all.end(), buf, buf + n);
  }
  return all;
}

// "key=value" fields of a summary line.
std::map<std::string, std::string> fields(const std::string& line) {
  std::map<std::string, std::string> f;
  std::istringstream in(line);
  for (std::string w; in >> w;) {
    const auto eq = w.find('=');
    if (eq != std::string::npos) f[w.substr(0, eq)] = w.substr(eq + 1);
  }
  return f;
}

TEST(Velsim, EnquireThenStreamTwoSecondsAndCompareTheSummary) {
  const char* exe = std::getenv("VELSIM");
  ASSERT_NE(exe, nullptr);
  Child velsim({exe, "--fast", "--duration", "2", "--sample-rate", "8000", "--serial", "777",
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
  const int ctl = connectTo(ports["control"]);
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
  const int wav = connectTo(ports["waveform"]);
  ASSERT_GE(wav, 0);
  const auto& start = velsim::StreamFrameEncoder::startMessage();
  ASSERT_EQ(send(wav, start.data(), start.size(), 0), 4);
  const Bytes stream = readAll(wav);
  close(wav);

  CircularByteBuffer sbuf(stream.size() + 16);
  sbuf.write(stream.data(), stream.size());
  VelStreamProcessor sp(VEL_STREAM_WAVEFORM);
  std::vector<uint32> notes;
  uint64 samples = 0, frames = 0, headers = 0, checksum = velsim::StreamStats{}.checksum;
  while (auto m = sp.pump(sbuf)) {
    const auto p = m->payload();
    if (auto n = std::dynamic_pointer_cast<VelStreamNotifyPayload>(p)) notes.push_back(n->errorCode());
    if (std::dynamic_pointer_cast<VelStreamEventHeaderPayload>(p)) ++headers;
    if (auto d = std::dynamic_pointer_cast<VelStreamDataPayload>(p)) {
      EXPECT_EQ(d->data()->sampleNum(), samples);
      samples += d->data()->numSamples();
      ++frames;
      checksum = velsim::fnv1a64(checksum, d->data()->data().get(), d->data()->dataSize());
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
  std::snprintf(hex, sizeof hex, "0x%016llx", static_cast<unsigned long long>(checksum));
  EXPECT_EQ(summary.at("checksum"), hex);

  close(ctl);
  // With a duration set, velsim ends once its streams have.
  EXPECT_FALSE(velsim.until("velsim: exit").empty());
  EXPECT_EQ(velsim.wait(), 0);
}

}  // namespace
