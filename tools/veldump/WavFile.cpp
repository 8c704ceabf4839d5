#include "WavFile.h"

#include "Sidecar.h"

#include "Describe.h"

#include <veliface/veliface.h>
#include <veliface/vocabulary/DeviceText.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <ostream>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace veldump {

namespace fs = std::filesystem;

namespace {

// A recording header is RIFF, LIST/INFO (at most 64 KiB), fmt and the data chunk head; this
// much of the file always holds it.
constexpr std::size_t kHeaderWindow = 96 * 1024;
// The header reader reads a chunk identifier only when 20 bytes wait, so a file with fewer
// than 12 sample bytes gets this many zero bytes appended in memory (never to the file).
constexpr std::size_t kReaderLookahead = 20;

std::uint32_t le32(const uint8_t* p) { return mav::loadLE<uint32_t>(p); }

std::string plural(std::uint64_t n, const char* unit) {
  return std::to_string(n) + " " + unit + (n == 1 ? "" : "s");
}

// Compares a stored size with the one the file length gives.
void checkSize(std::vector<std::string>& problems, const char* what, std::uint64_t stored,
               std::uint64_t actual) {
  if (stored == actual) return;
  if (stored == 0) {
    problems.push_back(std::string(what) + " is 0 (file never finished), file gives " +
                       std::to_string(actual));
  } else if (stored < actual) {
    problems.push_back(std::string(what) + " " + std::to_string(stored) +
                       " is stale: file gives " + std::to_string(actual));
  } else {
    problems.push_back(std::string(what) + " " + std::to_string(stored) +
                       " exceeds the file: file gives only " + std::to_string(actual) +
                       " (truncated?)");
  }
}

void checkFormat(WavInspection& w) {
  const auto fmt = w.header->fmt();
  if (!fmt) {
    w.problems.push_back("no fmt chunk before the data chunk");
    return;
  }
  const std::uint64_t align = fmt->blockAlign();
  const std::uint64_t frame = std::uint64_t{fmt->numChannels()} * (fmt->bitsPerSamp() / 8u);
  if (align == 0) {
    w.problems.push_back("block align is 0");
  } else if (align != frame) {
    w.problems.push_back("block align " + std::to_string(align) + " does not match " +
                         std::to_string(fmt->numChannels()) + " channels of " +
                         std::to_string(fmt->bitsPerSamp()) + " bits");
  }
  if (std::uint64_t{fmt->bytesPerSec()} != std::uint64_t{fmt->sampleRate()} * align)
    w.problems.push_back("bytes per second " + std::to_string(fmt->bytesPerSec()) +
                         " is not sample rate x block align");
  if (align == 0) return;
  const std::uint64_t data = w.header->dataSize();
  if (data % align != 0)
    w.problems.push_back("data size " + std::to_string(data) + " is not a multiple of block align " +
                         std::to_string(align));
  if (w.dataInFile() != data && w.dataInFile() % align != 0)
    w.problems.push_back("the file holds " + std::to_string(w.dataInFile()) +
                         " sample bytes, a partial block of " +
                         plural(w.dataInFile() % align, "byte") + " at the end");
}

// The sub-chunks of the LIST/INFO chunk in the first `size` bytes of a file, each text up to
// its first zero byte with trailing spaces dropped. The array record writes its sub-chunks one
// after the other without pad bytes, so none are skipped.
std::vector<std::pair<std::string, std::string>> infoTexts(const std::vector<uint8_t>& head, std::size_t size) {
  std::vector<std::pair<std::string, std::string>> out;
  std::size_t pos = 12;
  while (pos + 12 <= size) {
    const std::uint64_t chunk = le32(head.data() + pos + 4);
    if (std::memcmp(head.data() + pos, "LIST", 4) != 0 || std::memcmp(head.data() + pos + 8, "INFO", 4) != 0) {
      pos += 8 + chunk + (chunk & 1);
      continue;
    }
    const std::size_t end = static_cast<std::size_t>(std::min<std::uint64_t>(size, pos + 8 + chunk));
    for (std::size_t sub = pos + 12; sub + 8 <= end;) {
      const std::size_t len = static_cast<std::size_t>(std::min<std::uint64_t>(le32(head.data() + sub + 4), end - sub - 8));
      std::string text(reinterpret_cast<const char*>(head.data()) + sub + 8, len);
      text = text.substr(0, text.find('\0'));
      text.erase(text.find_last_not_of(' ') + 1);
      out.emplace_back(std::string(reinterpret_cast<const char*>(head.data()) + sub, 4), veliface::escapeDeviceText(text));
      sub += 8 + len;
    }
    break;
  }
  return out;
}

std::string seconds(std::uint64_t bytes, std::uint64_t bytesPerSec) {
  if (bytesPerSec == 0) return "unknown";
  std::ostringstream os;
  os << std::fixed << std::setprecision(3) << static_cast<double>(bytes) / static_cast<double>(bytesPerSec) << " s";
  return os.str();
}

}  // namespace

WavInspection inspectWav(const std::string& path) {
  WavInspection w;
  w.path = path;
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) {
    w.error = fs::exists(path, ec) ? "not a regular file" : std::strerror(ENOENT);
    return w;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    w.error = std::strerror(errno);
    return w;
  }
  w.fileSize = fs::file_size(path, ec);
  std::vector<uint8_t> head(kHeaderWindow + kReaderLookahead, 0);
  in.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(kHeaderWindow));
  const auto got = static_cast<std::size_t>(in.gcount());
  if (in.bad()) {
    w.error = std::string("read error: ") + std::strerror(errno);
    return w;
  }
  if (got < 12 || std::memcmp(head.data(), "RIFF", 4) != 0 || std::memcmp(head.data() + 8, "WAVE", 4) != 0) {
    w.error = "not a RIFF/WAVE file";
    return w;
  }
  w.riffSize = le32(head.data() + 4);

  const std::size_t fed = got < kHeaderWindow ? got + kReaderLookahead : got;
  CircularByteBuffer buf(fed);
  buf.write(head.data(), fed);
  MavWavHeaderProcessor reader;
  // Quiet: the INFO reader may log about tags it skips; that is not this tool's output.
  bool ok = false;
  {
    const VelLog::SinkScope quiet(VelLog::discard);
    ok = reader.pump(buf);
  }
  if (!ok || !reader.header()) {
    w.error = "no complete WAV header (reader error " + std::to_string(reader.errorCode()) + ")";
    return w;
  }
  w.header = reader.header();
  w.dataOffset = reader.headerSize();
  if (w.dataOffset > w.fileSize || w.dataOffset < 8 ||
      std::memcmp(head.data() + w.dataOffset - 8, "data", 4) != 0) {
    w.error = "the header is cut short";
    return w;
  }

  if (w.header->fmt() && w.header->fmt()->numChannels() > 1)
    w.arrayInfo = infoTexts(head, std::min<std::size_t>(got, static_cast<std::size_t>(w.dataOffset)));
  checkSize(w.problems, "RIFF size", w.riffSize, w.fileSize - 8);
  checkSize(w.problems, "data size", w.header->dataSize(), w.dataInFile());
  checkFormat(w);
  return w;
}

int printWavReport(const WavInspection& w, std::ostream& out) {
  if (!w.readable()) {
    out << "error: " << w.error << '\n';
    return EXIT_UNREADABLE;
  }
  const auto fmt = w.header->fmt();
  if (fmt) {
    out << "format: " << fmt->numChannels() << " channel(s), " << fmt->sampleRate() << " Hz, "
        << fmt->bitsPerSamp() << " bits, block align " << fmt->blockAlign() << ", "
        << fmt->bytesPerSec() << " bytes/s, compression " << fmt->compCode() << '\n';
  }
  const std::uint64_t bps = fmt ? fmt->bytesPerSec() : 0;
  out << "file size: " << w.fileSize << " bytes, samples start at " << w.dataOffset << '\n'
      << "RIFF size: " << w.riffSize << '\n'
      << "data size: " << w.header->dataSize() << " (" << w.dataInFile() << " in the file)\n"
      << "duration: " << seconds(w.header->dataSize(), bps);
  if (w.dataInFile() != w.header->dataSize()) out << " (file holds " << seconds(w.dataInFile(), bps) << ")";
  out << '\n';
  if (!w.arrayInfo.empty()) {
    // Entry 0 of each list is the hub (or the device), then one entry per channel.
    static const std::pair<const char*, const char*> kShown[] = {
        {"IART", "devices"}, {"ICMT", "calibration"}, {"ICRD", "created"}, {"ISFT", "creator"}};
    out << "metadata: array record, " << fmt->numChannels() << " channels\n";
    for (const auto& [id, label] : kShown)
      for (const auto& [tag, text] : w.arrayInfo)
        if (tag == id) out << label << ": " << text << '\n';
  } else if (const auto info = w.header->info()) {
    out << "device: " << info->deviceStr(0) << '\n'
        << "serial: " << info->serialNo(0) << '\n'
        << "sensitivity: " << info->sensitivity(0) << " dBV re 1uPa\n"
        << "full scale: " << info->voltsPk() << " V pk\n"
        << "max count: " << info->maxCount() << '\n'
        << "sequence number: " << info->seqNum() << '\n'
        << "created: " << info->datetimeStr() << '\n'
        << "creator: " << info->creatorStr() << '\n'
        << "name: " << info->filename() << '\n';
  } else {
    out << "no INFO metadata\n";
  }
  std::vector<std::string> problems = w.problems;
  const std::uint64_t align = fmt && fmt->blockAlign() ? fmt->blockAlign() : 1;
  printSidecar(readSidecar(w.path), std::min<std::uint64_t>(w.header->dataSize(), w.dataInFile()) / align, out, problems);
  for (const std::string& p : problems) out << "problem: " << p << '\n';
  out << (problems.empty() ? "OK" : "NOT OK") << '\n';
  return problems.empty() ? EXIT_OK : EXIT_PROBLEM;
}

namespace {

// Copies the first `length` bytes of `src` to a new temporary file next to `target`, with
// the two size fields patched, forces it to storage and renames it over `target`.
bool writeRepaired(const std::string& src, const std::string& target, std::uint64_t length,
                   std::uint64_t dataSizeOffset, std::uint32_t riff, std::uint32_t data,
                   std::string& err) {
  const fs::path t(target);
  const fs::path dir = t.has_parent_path() ? t.parent_path() : fs::path(".");
  std::string tmpl = (dir / ("." + t.filename().string() + ".repair-XXXXXX")).string();
  const int fd = ::mkstemp(tmpl.data());
  if (fd < 0) {
    err = "cannot create a temporary file in " + dir.string() + ": " + std::strerror(errno);
    return false;
  }
  auto fail = [&](const std::string& why) {
    err = why;
    ::close(fd);
    ::unlink(tmpl.c_str());
    return false;
  };
  std::ifstream in(src, std::ios::binary);
  std::vector<char> piece(1 << 20);
  std::uint64_t copied = 0;
  while (copied < length) {
    const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(piece.size(), length - copied));
    in.read(piece.data(), static_cast<std::streamsize>(want));
    if (static_cast<std::size_t>(in.gcount()) != want) return fail("read error on " + src);
    // Patch the size fields as they pass through.
    auto patch = [&](std::uint64_t at, std::uint32_t v) {
      for (int i = 0; i < 4; ++i) {
        const std::uint64_t pos = at + static_cast<std::uint64_t>(i);
        if (pos >= copied && pos < copied + want)
          piece[static_cast<std::size_t>(pos - copied)] = static_cast<char>((v >> (8 * i)) & 0xFF);
      }
    };
    patch(4, riff);
    patch(dataSizeOffset, data);
    for (std::size_t done = 0; done < want;) {
      const ssize_t n = ::write(fd, piece.data() + done, want - done);
      if (n <= 0) return fail("write error on " + tmpl + ": " + std::strerror(errno));
      done += static_cast<std::size_t>(n);
    }
    copied += want;
  }
  if (::fsync(fd) != 0) return fail("cannot flush " + tmpl + ": " + std::strerror(errno));
  ::close(fd);
  std::error_code ec;
  // Keep the recording's permissions rather than mkstemp's private ones.
  const auto perms = fs::status(src, ec).permissions();
  if (!ec) fs::permissions(tmpl, perms, ec);
  fs::rename(tmpl, target, ec);
  if (ec) {
    ::unlink(tmpl.c_str());
    err = "cannot rename " + tmpl + " to " + target + ": " + ec.message();
    return false;
  }
  return true;
}

// Whether the chunks after "RIFF" size "WAVE" follow one another to the end of the file
// (identifier, size, body padded to an even length; a last odd chunk may lack its pad), with
// "fmt " and "data" among them and a RIFF size that covers them all. Such a file is valid
// whatever order or extra chunks it has, and a repair must leave it alone.
bool wellFormed(const std::string& path, std::uint64_t fileSize, std::uint32_t riffSize) {
  std::ifstream in(path, std::ios::binary);
  bool fmt = false, data = false;
  std::uint64_t at = 12;
  for (int chunks = 0; at + 8 <= fileSize && chunks < 100000; ++chunks) {
    uint8_t head[8];
    in.seekg(static_cast<std::streamoff>(at));
    if (!in.read(reinterpret_cast<char*>(head), 8)) return false;
    const std::uint64_t size = le32(head + 4);
    fmt = fmt || std::memcmp(head, "fmt ", 4) == 0;
    data = data || std::memcmp(head, "data", 4) == 0;
    at += 8 + size + (size & 1);
  }
  const bool ends = at == fileSize || at == fileSize + 1;
  return ends && fmt && data && (riffSize == fileSize - 8 || riffSize == at - 8);
}

// Holds an exclusive advisory lock on a file while in scope, if it can be had: the library's
// WAV writer keeps one on every file it is writing.
class RepairLock {
 public:
  explicit RepairLock(const std::string& path) : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    busy_ = fd_ >= 0 && ::flock(fd_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  }
  ~RepairLock() {
    if (fd_ >= 0) ::close(fd_);
  }
  RepairLock(const RepairLock&) = delete;
  RepairLock& operator=(const RepairLock&) = delete;
  /// Another process holds the lock: the file is being written.
  bool busy() const { return busy_; }

 private:
  int fd_;
  bool busy_ = false;
};

}  // namespace

int repairWav(const std::string& path, const std::string& output, std::ostream& out) {
  const RepairLock lock(path);
  if (lock.busy()) {
    out << "error: " << path << " is being written by another program (it holds the file's lock); not repaired\n";
    return EXIT_PROBLEM;
  }
  const WavInspection w = inspectWav(path);
  if (!w.readable()) {
    out << "error: " << w.error << '\n';
    return EXIT_UNREADABLE;
  }
  if (wellFormed(path, w.fileSize, w.riffSize)) {
    out << path << ": sizes already match the file; nothing changed\n";
    return EXIT_OK;
  }
  const auto fmt = w.header->fmt();
  if (!fmt) {
    out << "error: no fmt chunk before the data chunk; not repaired (its chunks are in an order this tool does not rebuild)\n";
    return EXIT_PROBLEM;
  }
  if (fmt->blockAlign() == 0 ||
      fmt->blockAlign() != std::uint64_t{fmt->numChannels()} * (fmt->bitsPerSamp() / 8u)) {
    out << "error: block align " << fmt->blockAlign() << " does not fit " << fmt->numChannels() << " channels of "
        << fmt->bitsPerSamp() << " bits; not repaired (sizes from it could drop samples)\n";
    return EXIT_PROBLEM;
  }
  const std::uint64_t align = fmt->blockAlign();
  const std::uint64_t data = w.dataInFile() / align * align;
  const std::uint64_t riff = w.dataOffset - 8 + data;
  if (riff > 0xFFFFFFFFu) {
    out << "error: " << w.fileSize << " bytes do not fit the 32-bit RIFF size\n";
    return EXIT_PROBLEM;
  }
  const std::uint64_t length = w.dataOffset + data;
  const bool sizesRight = w.riffSize == riff && w.header->dataSize() == data && length == w.fileSize;
  if (sizesRight) {
    out << path << ": sizes already match the file; nothing changed\n";
    return EXIT_OK;
  }
  const std::string target = output.empty() ? path : output;
  std::string err;
  if (!writeRepaired(path, target, length, w.dataOffset - 4, static_cast<std::uint32_t>(riff),
                     static_cast<std::uint32_t>(data), err)) {
    out << "error: " << err << '\n';
    return EXIT_PROBLEM;
  }
  out << "repaired " << target << (output.empty() ? " in place" : " from " + path) << '\n';
  if (w.riffSize != riff) out << "RIFF size: " << w.riffSize << " -> " << riff << '\n';
  if (w.header->dataSize() != data) out << "data size: " << w.header->dataSize() << " -> " << data << '\n';
  if (length != w.fileSize)
    out << "dropped " << plural(w.fileSize - length, "byte") << " of an incomplete block at the end\n";
  return EXIT_OK;
}

}  // namespace veldump
