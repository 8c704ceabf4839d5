#include "SimulatorProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

extern char** environ;

namespace velrec {

namespace fs = std::filesystem;

namespace {

constexpr const char* kPortNames[3] = {"control port ", "waveform port ", "spectrum port "};

}  // namespace

std::string SimulatorProcess::program() {
  if (const char* env = std::getenv("VELREC_SIMULATOR"); env && *env) return env;
  std::error_code ec;
  const fs::path self = fs::read_symlink("/proc/self/exe", ec);
  if (!ec) {
    for (const fs::path& p : {self.parent_path() / "velsim", self.parent_path().parent_path() / "velsim" / "velsim"}) {
      if (::access(p.c_str(), X_OK) == 0) return p.string();
    }
  }
  return "velsim";
}

SimulatorProcess::~SimulatorProcess() { stop(std::chrono::milliseconds(0)); }

bool SimulatorProcess::start(const std::vector<std::string>& args, std::chrono::milliseconds timeout,
                             std::string& error) {
  const std::string exe = program();
  std::vector<std::string> all{exe, "--bind", "127.0.0.1", "--control-port", "0", "--waveform-port", "0",
                               "--spectrum-port", "0", "--discovery-port", "0"};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& a : all) argv.push_back(a.data());
  argv.push_back(nullptr);

  int out[2];
  if (::pipe2(out, O_CLOEXEC) != 0) {
    error = std::string("cannot start the simulated device: pipe: ") + std::strerror(errno);
    return false;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  // Its own process group: Ctrl-C reaches velrec, which then ends the recording and the
  // simulator in order, instead of both at once.
  posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attr, 0);
  const int rc = ::posix_spawnp(&pid_, exe.c_str(), &actions, &attr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  ::close(out[1]);
  if (rc != 0) {
    ::close(out[0]);
    pid_ = -1;
    error = "cannot start the simulated device " + exe + ": " + std::strerror(rc) +
            " (build velsim, or name it with VELREC_SIMULATOR)";
    return false;
  }
  reader_ = std::thread([this, fd = out[0]] { readLines(fd); });

  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      for (const std::string& l : lines_) {
        for (int i = 0; i < 3; ++i) {
          if (l.rfind(kPortNames[i], 0) == 0) ports_[i] = static_cast<uint16>(std::atoi(l.c_str() + std::strlen(kPortNames[i])));
        }
      }
      if (ports_[0] && ports_[1] && ports_[2]) return true;
      if (eof_ || std::chrono::steady_clock::now() > deadline) {
        std::string said;
        for (const std::string& l : lines_) said += (said.empty() ? "" : "; ") + l;
        error = "the simulated device " + exe + (eof_ ? " ended" : " named no ports in time") +
                (said.empty() ? std::string() : " (it said: " + said + ")");
        break;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  stop(std::chrono::milliseconds(0));
  return false;
}

void SimulatorProcess::readLines(int fd) {
  std::string pending;
  char buf[4096];
  for (;;) {
    const ssize_t n = ::read(fd, buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    pending.append(buf, static_cast<std::size_t>(n));
    for (std::size_t nl; (nl = pending.find('\n')) != std::string::npos;) {
      std::string line = pending.substr(0, nl);
      pending.erase(0, nl + 1);
      if (line.rfind("velsim: ", 0) == 0) line.erase(0, 8);
      std::lock_guard<std::mutex> lock(mutex_);
      lines_.push_back(std::move(line));
    }
  }
  ::close(fd);
  std::lock_guard<std::mutex> lock(mutex_);
  eof_ = true;
}

bool SimulatorProcess::waitExit(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    int status = 0;
    const pid_t r = ::waitpid(pid_, &status, WNOHANG);
    if (r == pid_ || (r < 0 && errno != EINTR)) {
      pid_ = -1;
      return true;
    }
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

std::vector<std::string> SimulatorProcess::stop(std::chrono::milliseconds grace) {
  if (pid_ > 0 && !waitExit(grace)) {
    ::kill(pid_, SIGTERM);
    if (!waitExit(std::chrono::seconds(5))) {
      ::kill(pid_, SIGKILL);
      waitExit(std::chrono::seconds(5));
    }
  }
  if (reader_.joinable()) reader_.join();
  std::vector<std::string> summaries;
  for (const std::string& l : lines_) {
    if (l.rfind("waveform samples=", 0) == 0 || l.rfind("spectrum samples=", 0) == 0) summaries.push_back(l);
  }
  return summaries;
}

}  // namespace velrec
