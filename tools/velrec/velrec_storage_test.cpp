// velrec on storage that fails: a full disk, a read-only directory, a directory that cannot
// be created, and SIGKILL at several moments. velrec must stop (never hang) with the
// library's error text and exit code 1, and every WAV file left must read up to its last
// size patch and be made whole by `veldump repair`. Also: rollovers do not leak descriptors.

#include <mavcommon/CircularByteBuffer.h>
#include <mavcommon/Endian.h>
#include <veliface/files/MavWavHeader.h>

#include <TempFiles.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testsupport::readFile;
using Clock = std::chrono::steady_clock;

std::string program(const char* var) {
  const char* exe = std::getenv(var);
  return exe ? exe : "";
}

// A child process writing stdout and stderr into one file.
class Child {
 public:
  Child(const std::vector<std::string>& args, const fs::path& log) : log_(log) {
    pid_ = fork();
    if (pid_ == 0) {
      std::FILE* f = std::fopen(log.c_str(), "w");
      if (f) {
        dup2(fileno(f), 1);
        dup2(fileno(f), 2);
      }
      std::vector<char*> argv;
      for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
  }
  ~Child() {
    if (pid_ > 0 && !reaped_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  pid_t pid() const { return pid_; }
  // Exit code, -1 when killed by a signal, -2 when it did not end within `limit` (killed then).
  int wait(std::chrono::seconds limit = std::chrono::seconds(60)) {
    const auto until = Clock::now() + limit;
    int status = 0;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
      if (Clock::now() > until) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        reaped_ = true;
        return -2;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    reaped_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  std::string output() const {
    std::ifstream in(log_);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }

 private:
  fs::path log_;
  pid_t pid_ = -1;
  bool reaped_ = false;
};

// A directory of a test's own, removed at the end: velrec writes into `out` (where a small
// tmpfs may be mounted) and its output goes to `log`.
struct Scratch : testsupport::TempDir {
  fs::path out;
  fs::path log;
  explicit Scratch(const std::string& name) : TempDir("velrec-" + name), out(dir / "out"), log(dir / "velrec.log") {
    fs::create_directories(out);
  }
};

// A small tmpfs on `dir` for the test's lifetime; `error` says why when it cannot be mounted.
struct Tmpfs {
  fs::path dir;
  bool mounted = false;
  std::string error;
  Tmpfs(const fs::path& d, const char* options) : dir(d) {
    if (::mount("tmpfs", dir.c_str(), "tmpfs", 0, options) == 0) {
      mounted = true;
    } else {
      error = std::string("cannot mount a tmpfs here (") + std::strerror(errno) + "); the library's failing-disk tests cover this";
    }
  }
  bool readOnly() {
    if (::mount("tmpfs", dir.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr) == 0) return true;
    error = std::string("cannot remount read-only (") + std::strerror(errno) + ")";
    return false;
  }
  ~Tmpfs() {
    if (mounted) ::umount2(dir.c_str(), MNT_DETACH);
  }
};

std::string run(const std::string& command, int* rc = nullptr) {
  std::string out;
  if (FILE* p = popen((command + " 2>&1").c_str(), "r")) {
    char buf[512];
    while (fgets(buf, sizeof buf, p) != nullptr) out += buf;
    const int status = pclose(p);
    if (rc) *rc = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  return out;
}

bool have(const char* tool) { return std::system((std::string("command -v ") + tool + " >/dev/null 2>&1").c_str()) == 0; }

std::vector<fs::path> wavs(const fs::path& dir) {
  std::vector<fs::path> v;
  for (const auto& e : fs::directory_iterator(dir))
    if (e.path().extension() == ".wav") v.push_back(e.path());
  std::sort(v.begin(), v.end());
  return v;
}

// What a WAV file's own header says, read by the library: header bytes, data size, block.
struct Head {
  bool ok = false;
  uint64 headerSize = 0;
  uint32 dataSize = 0;
  uint32 riffSize = 0;
  uint16 align = 0;
  std::string info;  // the LIST chunk's bytes
};

Head head(const fs::path& f) {
  const std::string bytes = readFile(f);
  Head h;
  CircularByteBuffer ring(bytes.size() + 1);
  ring.write(reinterpret_cast<const uint8*>(bytes.data()), bytes.size());
  MavWavHeaderProcessor reader;
  if (!reader.pump(ring) || !reader.header() || !reader.header()->fmt()) return h;
  h.ok = true;
  h.headerSize = reader.headerSize();
  h.dataSize = reader.header()->dataSize();
  h.align = reader.header()->fmt()->blockAlign();
  h.riffSize = mav::loadLE<uint32>(reinterpret_cast<const uint8*>(bytes.data()) + 4);
  const std::size_t list = bytes.find("LIST");
  if (list != std::string::npos && list + 8 <= bytes.size()) {
    const uint32 len = mav::loadLE<uint32>(reinterpret_cast<const uint8*>(bytes.data()) + list + 4);
    h.info = bytes.substr(list, 8 + len);
  }
  return h;
}

// The texts the library reports storage failures with.
const char* const kLibraryTexts[] = {"Error opening wav file for writing.", "Failed to write header data (INFO).",
                                     "Failed to write header data (fmt).", "Failed to write wav data.",
                                     "Failed to finish file. RIFF size may be invalid.",
                                     "Error opening spectrum file for writing.", "Failed to write spectrum data."};

// The library's text for the failure, then the file and the system's reason.
bool endsWithLibraryError(const std::string& out, const char* reason) {
  for (const char* t : kLibraryTexts) {
    const auto at = out.find(std::string("velrec: error: ") + t + " (");
    if (at != std::string::npos) return out.find(std::string(": ") + reason + ")\n", at) != std::string::npos;
  }
  return false;
}

}  // namespace

TEST(VelrecStorageFault, FullDiskStopsWithTheLibrarysTextAndExitCodeOne) {
  const Scratch scratch("full");
  const fs::path& dir = scratch.out;
  Tmpfs fsys(dir, "size=64k");
  if (!fsys.mounted) GTEST_SKIP() << fsys.error;
  Child rec({program("VELREC"), "--fast", "--duration", "600", "--period", "10", "--out", dir.string()}, scratch.log);
  EXPECT_EQ(rec.wait(), 1);
  const std::string out = rec.output();
  EXPECT_TRUE(endsWithLibraryError(out, "No space left on device")) << out;
  // Whatever fitted reads with the library's reader, claiming no more than is on disk.
  const auto files = wavs(dir);
  ASSERT_FALSE(files.empty());
  for (const fs::path& f : files) {
    const Head h = head(f);
    if (!h.ok) continue;  // the disk filled before the header was out: no samples claimed
    EXPECT_LE(h.headerSize + h.dataSize, fs::file_size(f)) << f;
  }
}

TEST(VelrecStorageFault, ReadOnlyOrUncreatableOutputStopsWithExitCodeOne) {
  // A directory that cannot be created at all.
  {
    const Scratch scratch("proc");
    Child rec({program("VELREC"), "--fast", "--duration", "5", "--out", "/proc/velrec_cannot_be_here"}, scratch.log);
    EXPECT_EQ(rec.wait(), 1);
    EXPECT_NE(rec.output().find("velrec: error: cannot create the output directory /proc/velrec_cannot_be_here: "),
              std::string::npos)
        << rec.output();
  }
  const Scratch scratch("ro");
  const fs::path& dir = scratch.out;
  Tmpfs fsys(dir, "size=64k");
  if (!fsys.mounted) GTEST_SKIP() << fsys.error;
  if (!fsys.readOnly()) GTEST_SKIP() << fsys.error;
  Child rec({program("VELREC"), "--fast", "--duration", "5", "--out", dir.string()}, scratch.log);
  EXPECT_EQ(rec.wait(), 1);
  // Found before any device is touched: the run's log cannot be written there.
  const std::string out = rec.output();
  EXPECT_NE(out.find("velrec: error: cannot write into the output directory: " + (dir / "velrec.log").string() +
                     ": Read-only file system\n"),
            std::string::npos)
      << out;
  EXPECT_EQ(out.find("velrec: device "), std::string::npos) << out;
  EXPECT_TRUE(wavs(dir).empty());
}

TEST(VelrecStorageFault, SigkillLeavesFilesReadableUpToTheLastPatchAndRepairMakesThemWhole) {
  if (!have("soxi") || !have("python3")) GTEST_SKIP() << "soxi or python3 missing";
  for (int ms : {0, 250, 750}) {
    SCOPED_TRACE("killed " + std::to_string(ms) + " ms after its first file appeared");
    const Scratch scratch("kill" + std::to_string(ms));
    const fs::path& dir = scratch.out;
    Child rec({program("VELREC"), "--fast", "--duration", "100000", "--period", "3", "--out", dir.string()}, scratch.log);
    // Counted from the first file, not from the start: a loaded machine may take long to start.
    const auto until = Clock::now() + std::chrono::seconds(30);
    while (wavs(dir).empty() && Clock::now() < until) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    kill(rec.pid(), SIGKILL);
    EXPECT_EQ(rec.wait(), -1);
    const auto files = wavs(dir);
    ASSERT_FALSE(files.empty());
    for (const fs::path& f : files) {
      SCOPED_TRACE(f.filename().string());
      const Head before = head(f);
      if (!before.ok) continue;  // killed before its header was written out: nothing to read
      const uint64 length = fs::file_size(f);
      ASSERT_GT(before.align, 0);
      ASSERT_LE(before.headerSize + before.dataSize, length);
      int rc = 0;
      EXPECT_EQ(run("soxi -s '" + f.string() + "'", &rc), std::to_string(before.dataSize / before.align) + "\n");
      EXPECT_EQ(rc, 0);

      const std::string said = run(program("VELDUMP") + " repair '" + f.string() + "'", &rc);
      EXPECT_EQ(rc, 0) << said;
      const uint64 whole = (length - before.headerSize) / before.align * before.align;
      if (before.dataSize == whole && before.headerSize + whole == length && before.riffSize + 8 == length) {
        EXPECT_EQ(said, f.string() + ": sizes already match the file; nothing changed\n");
      } else {
        EXPECT_EQ(said.rfind("repaired " + f.string() + " in place\n", 0), 0u) << said;
      }
      const Head after = head(f);
      ASSERT_TRUE(after.ok);
      EXPECT_EQ(after.dataSize, whole);
      EXPECT_EQ(after.headerSize + after.dataSize, fs::file_size(f));
      EXPECT_EQ(uint64{after.riffSize} + 8, fs::file_size(f));
      EXPECT_EQ(after.info, before.info);
      EXPECT_FALSE(after.info.empty());
      const std::string frames = std::to_string(whole / before.align) + "\n";
      EXPECT_EQ(run("soxi -s '" + f.string() + "'"), frames);
      EXPECT_EQ(run("python3 -c \"import wave,sys; print(wave.open(sys.argv[1]).getnframes())\" '" + f.string() + "'"),
                frames);
    }
  }
}

TEST(VelrecStorageFault, OpenFileCountStaysFlatOverRollovers) {
  const Scratch scratch("fds");
  const fs::path& dir = scratch.out;
  Child rec({program("VELREC"), "--fast", "--duration", "3000", "--period", "1", "--out", dir.string()}, scratch.log);
  const fs::path fdDir = "/proc/" + std::to_string(rec.pid()) + "/fd";
  std::vector<std::size_t> counts;
  std::size_t filesAtFirst = 0, filesAtLast = 0;
  const auto until = Clock::now() + std::chrono::seconds(20);
  while (Clock::now() < until && counts.size() < 40) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    std::error_code ec;
    const auto n = static_cast<std::size_t>(std::distance(fs::directory_iterator(fdDir, ec), {}));
    if (ec) break;  // it ended
    const std::size_t files = static_cast<std::size_t>(std::count_if(
        fs::directory_iterator(dir), fs::directory_iterator(), [](const auto& e) { return e.path().extension() != ".json"; }));
    if (files < 4) continue;  // still starting up
    if (counts.empty()) filesAtFirst = files;
    filesAtLast = files;
    counts.push_back(n);
  }
  kill(rec.pid(), SIGTERM);
  EXPECT_EQ(rec.wait(), 0);
  ASSERT_GE(counts.size(), 10u);
  EXPECT_GE(filesAtLast, filesAtFirst + 20) << "too few rollovers while sampling";
  // Two recording files at most at any time (waveform and spectrum), whatever the number of
  // rollovers: the count never grows past the first sample by more than that.
  const std::size_t lo = *std::min_element(counts.begin(), counts.end());
  const std::size_t hi = *std::max_element(counts.begin(), counts.end());
  EXPECT_LE(hi - lo, 2u);
  EXPECT_LE(counts.back(), counts.front() + 2);
  std::error_code ec;
  fs::remove_all(dir, ec);
}

TEST(VelrecStorageFault, SyncForcesTheAudioToDiskOnceASecondAndOnlyWhenAsked) {
  if (!have("strace")) GTEST_SKIP() << "strace missing";
  // Three seconds of audio: the once-a-second patches are forced to disk with --sync; the
  // patch that finishes a file is not (closing it follows at once).
  std::size_t syncs[2] = {0, 0};
  for (const bool sync : {false, true}) {
    SCOPED_TRACE(sync ? "--sync" : "no --sync");
    const Scratch scratch(sync ? "sync" : "nosync");
    const fs::path trace = scratch.dir / "strace.txt";
    int rc = 0;
    const std::string out = run("strace -f -qq -e trace=fdatasync,fsync -o '" + trace.string() + "' " +
                                    program("VELREC") + " --fast --duration 3 --period 10 --out '" +
                                    scratch.out.string() + "'" + (sync ? " --sync" : ""),
                                &rc);
    if (rc != 0 && out.find("ptrace") != std::string::npos) GTEST_SKIP() << "no ptrace here: " << out;
    ASSERT_EQ(rc, 0) << out;
    const std::string calls = readFile(trace);
    for (std::size_t at = calls.find("sync("); at != std::string::npos; at = calls.find("sync(", at + 1)) {
      ++syncs[sync];
    }
  }
  EXPECT_EQ(syncs[0], 0u);
  // Three seconds from wherever in a second (and in the period) the stream starts: about one
  // patch a second, a few more where a second or a file boundary cuts the audio short, and
  // never one per block of samples (hundreds).
  EXPECT_GE(syncs[1], 2u);
  EXPECT_LE(syncs[1], 8u);
}
