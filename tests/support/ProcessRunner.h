#pragma once
/// \file Helpers for tests that run the tools as child processes and talk to them over
/// loopback sockets: a child whose output is read line by line, summary-line fields, and
/// plain blocking TCP connections.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace testsupport {

/// A program run as a child process; its standard output (and, when asked, its standard
/// error as well) is read line by line. The child is killed if it is still running when
/// this object goes.
class ChildProcess {
 public:
  /// Runs `args[0]` with `args`; `withStderr` sends standard error into the same pipe.
  explicit ChildProcess(const std::vector<std::string>& args, bool withStderr = false) {
    int fds[2];
    if (pipe(fds) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(fds[1], 1);
      if (withStderr) dup2(fds[1], 2);
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
  ~ChildProcess() {
    if (pid_ > 0 && !reaped_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (out_ >= 0) close(out_);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// The next line, or "" after `ms` milliseconds without one or at the end of the output.
  std::string line(int ms = 30000) {
    for (;;) {
      const auto nl = buf_.find('\n');
      if (nl != std::string::npos) {
        std::string l = buf_.substr(0, nl);
        buf_.erase(0, nl + 1);
        return l;
      }
      if (out_ < 0) return "";
      pollfd p{out_, POLLIN, 0};
      if (poll(&p, 1, ms) <= 0) return "";
      char tmp[4096];
      const ssize_t n = read(out_, tmp, sizeof tmp);
      if (n <= 0) return "";
      buf_.append(tmp, static_cast<std::size_t>(n));
    }
  }
  /// Every remaining line of output.
  std::vector<std::string> rest(int ms = 30000) {
    std::vector<std::string> all;
    for (std::string l = line(ms); !l.empty(); l = line(ms)) all.push_back(l);
    return all;
  }
  /// Lines until one starts with `prefix` (returned) or the output ends ("").
  std::string until(const std::string& prefix, int ms = 30000) {
    for (std::string l = line(ms); !l.empty(); l = line(ms))
      if (l.rfind(prefix, 0) == 0) return l;
    return "";
  }
  /// Sends `sig` to the child.
  void signal(int sig) {
    if (pid_ > 0 && !reaped_) kill(pid_, sig);
  }
  /// Waits for the end; the exit code, or -1 when the child did not exit normally.
  int wait() {
    int status = 0;
    if (pid_ <= 0 || reaped_) return -1;
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

/// The "key=value" words of a summary line.
inline std::map<std::string, std::string> fields(const std::string& line) {
  std::map<std::string, std::string> f;
  std::istringstream in(line);
  for (std::string w; in >> w;) {
    const auto eq = w.find('=');
    if (eq != std::string::npos) f[w.substr(0, eq)] = w.substr(eq + 1);
  }
  return f;
}

/// The first line of `lines` that starts with `prefix`, or "".
inline std::string findLine(const std::vector<std::string>& lines, const std::string& prefix) {
  for (const auto& l : lines)
    if (l.rfind(prefix, 0) == 0) return l;
  return "";
}

/// A blocking TCP connection to `port` on the loopback address with a 10 s receive timeout;
/// -1 when it cannot be made.
inline int connectLoopback(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return -1;
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

/// Everything `fd` delivers until the peer closes or the receive times out.
inline std::vector<uint8_t> readAll(int fd) {
  std::vector<uint8_t> all;
  uint8_t buf[65536];
  for (;;) {
    const ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n <= 0) break;
    all.insert(all.end(), buf, buf + n);
  }
  return all;
}

}  // namespace testsupport
