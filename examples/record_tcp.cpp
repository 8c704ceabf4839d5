// Records a device over TCP through the library's host layer, with nothing but POSIX sockets:
// who are you, set your clock, then both stream ports into WAV and spectrum files.
// The library frames, checks and decodes; this program only moves bytes and keeps time.
//   record_tcp HOST [SECONDS] [OUTDIR] [CONTROL_PORT WAVEFORM_PORT SPECTRUM_PORT]
#include <veliface/veliface.h>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

using namespace veliface::host;

namespace {

HostTime now() {
  return std::chrono::duration_cast<HostTime>(std::chrono::steady_clock::now().time_since_epoch());
}

int connectTo(const char* host, const char* port) {
  addrinfo hints{}, *res = nullptr;
  hints.ai_socktype = SOCK_STREAM;
  if (getaddrinfo(host, port, &hints, &res) != 0) return -1;
  int fd = socket(res->ai_family, res->ai_socktype, res->ai_protocol);
  if (fd >= 0 && connect(fd, res->ai_addr, res->ai_addrlen) != 0) close(fd), fd = -1;
  freeaddrinfo(res);
  return fd;
}

bool sendAll(int fd, const std::vector<uint8>& bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const ssize_t n = send(fd, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
    if (n <= 0) return false;
    at += static_cast<std::size_t>(n);
  }
  return true;
}

// One request and its answer: send what the session gives, feed it what comes back, let
// it time out and ask again. Null when the device never answered well.
std::shared_ptr<VelControlMessage> request(int fd, ControlSession& session,
                                           std::shared_ptr<VelControlMsgPayload> req) {
  session.start(std::move(req), now());
  uint8 buf[4096];
  while (session.waiting()) {
    if (!sendAll(fd, session.takeOutgoing())) return nullptr;
    pollfd p{fd, POLLIN, 0};
    const auto wait = std::max<long long>(0, (session.deadline() - now()).count());
    if (poll(&p, 1, static_cast<int>(wait)) > 0) {
      const ssize_t n = recv(fd, buf, sizeof buf, 0);
      if (n <= 0) return nullptr;
      session.receive(buf, static_cast<std::size_t>(n), now());
    }
    session.tick(now());
  }
  return session.answer();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: record_tcp HOST [SECONDS] [OUTDIR] [CONTROL WAVEFORM SPECTRUM ports]\n");
    return 2;
  }
  const char* host = argv[1];
  const char* ports[3] = {"5000", "5001", "5002"};
  if (argc >= 7) ports[0] = argv[4], ports[1] = argv[5], ports[2] = argv[6];

  // 1. The control channel: enquire, then set the device clock to ours.
  const int control = connectTo(host, ports[0]);
  if (control < 0) return std::fprintf(stderr, "cannot connect to %s:%s\n", host, ports[0]), 1;
  ControlSession session;
  const auto id = identify(request(control, session, enquireRequest()));
  if (!id) return std::fprintf(stderr, "no answer to the enquiry (%s)\n", controlStatusText(session.status())), 1;
  std::printf("device %s\n", id->description.c_str());
  if (!request(control, session, setTimeRequest(static_cast<std::int32_t>(std::time(nullptr)))))
    std::printf("the clock was not confirmed; recording anyway\n");

  // 2. The recording, and both stream ports opened with the start message.
  RecordingSettings settings;
  settings.duration = argc > 2 ? std::atof(argv[2]) : 10;
  settings.outDir = argc > 3 ? argv[3] : ".";
  DeviceRecording rec(settings, std::dynamic_pointer_cast<VelDevice>(id->device));
  pollfd fds[2];
  const StreamPort which[2] = {StreamPort::Waveform, StreamPort::Spectrum};
  for (int i = 0; i < 2; ++i) fds[i] = {connectTo(host, ports[i + 1]), POLLIN, 0};
  for (int i = 0; i < 2; ++i) {  // both connected first, so that both streams start together
    if (fds[i].fd < 0 || !sendAll(fds[i].fd, StreamSession::startMessage()))
      return std::fprintf(stderr, "cannot open the %s port\n", streamPortName(which[i])), 1;
    rec.opened(which[i], now());
  }

  // 3. Move bytes until the duration is recorded, a port ends or goes silent.
  static uint8 buf[64 * 1024];
  bool done = false;
  while (!done && !(rec.limitReached() && rec.spectrumDone()) && rec.failure().empty()) {
    poll(fds, 2, 200);
    for (int i = 0; i < 2; ++i) {
      if (!(fds[i].revents & (POLLIN | POLLHUP))) continue;
      const ssize_t n = recv(fds[i].fd, buf, sizeof buf, 0);
      if (n > 0) {
        rec.receive(which[i], buf, static_cast<std::size_t>(n), now());
        continue;
      }
      close(fds[i].fd), fds[i].fd = -1;  // poll skips it from now on
      rec.connectionLost(which[i]);
      done = !rec.limitReached() || fds[1 - i].fd < 0;  // a port that ends early ends the run
    }
    rec.tick(now());
    for (const RecordingEvent& e : rec.takeEvents()) {
      if (!e.text.empty()) std::printf("%s: %s\n", streamPortName(e.port), e.text.c_str());
      if (e.kind == RecordingEvent::Kind::Stalled) done = true;
    }
  }
  rec.finish();
  for (int fd : {control, fds[0].fd, fds[1].fd})
    if (fd >= 0) close(fd);

  // 4. What was written, and the checksum of the samples as they went into the files.
  for (const RecordedFile& f : rec.files())
    std::printf("wrote %s (%llu bytes)\n", f.path.c_str(), static_cast<unsigned long long>(f.bytes));
  std::printf("checksum=0x%016llx\n", static_cast<unsigned long long>(rec.checksum()));
  if (!rec.failure().empty()) return std::fprintf(stderr, "error: %s\n", rec.failure().c_str()), 1;
  return 0;
}
