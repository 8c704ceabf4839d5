// The recording glue on a failing disk: every write, sync, open and close a recording makes
// is made to fail in turn, and the disk is made full at several points. Nothing may crash or
// hang, the error reaches the listener with the writer's code and text, and every file left
// behind reads correctly: whole when it was finished cleanly, up to its last size patch when not.

#include <veliface/record/SpectrumRecorder.h>
#include <veliface/record/WavRecorder.h>

#include <FaultyFiles.h>
#include <LogCapture.h>
#include <RecordStreams.h>
#include <gtest/gtest.h>

#include <set>

using veliface::record::SpectrumRecorder;
using veliface::record::WavRecorder;
using namespace recordtest;
namespace fs = std::filesystem;

namespace {

// Remembers which files were in play when an error arrived: only those may be left unfinished.
struct Watch : Events {
  std::set<fs::path> suspect;
  fs::path current;  // the file open when the first error arrived
  void error(int code, const std::string& text) override {
    Events::error(code, text);
    if (current.empty() && !opened.empty()) current = opened.back();
    if (!opened.empty()) suspect.insert(opened.back());
    if (!closed.empty()) suspect.insert(closed.back().first);
  }
};

// Records once for every call of a clean recording's `trace`, with that call (the nth of its
// kind) made to fail with EIO or ENOSPC in turn, and hands each outcome to
// `check(callIndex, dir, events, log)`. No run may leave a file descriptor open.
template <typename Record, typename Check>
void failEachCallInTurn(const std::vector<TracedCall>& trace, Record record, Check check) {
  const std::size_t fdsBefore = openFds();
  int nth[4] = {0, 0, 0, 0};
  for (std::size_t i = 0; i < trace.size(); ++i) {
    const FileCall kind = trace[i].kind;
    const int n = ++nth[static_cast<int>(kind)];
    const int err = n % 2 ? EIO : ENOSPC;
    SCOPED_TRACE("call " + std::to_string(i + 1) + " of " + std::to_string(trace.size()) + ", kind " +
                 std::to_string(static_cast<int>(kind)) + " #" + std::to_string(n) + ", errno " + std::to_string(err));
    TempDir tmp;
    Watch events;
    LogCapture log;
    {
      FaultyFiles io;
      io.failNth(kind, n, err);
      record(tmp.dir, events);
      ASSERT_TRUE(io.trace().size() > i && io.trace()[i].failed) << "the recording took another path";
    }
    check(i, tmp.dir, events, log);
    EXPECT_EQ(openFds(), fdsBefore);
  }
}

// What the writer must report when call `i` of a clean recording's trace fails: opening is
// error 1; a sample write or sync on the way to a crash-safety patch is error 4; a size patch,
// a write while finishing and a close are error 5.
int expectedWavCode(const std::vector<TracedCall>& trace, std::size_t i) {
  const TracedCall& c = trace[i];
  switch (c.kind) {
    case FileCall::Open: return WAV_OPEN_ERROR;
    case FileCall::Sync: return WAV_DATA_ERROR;
    case FileCall::Close: return WAV_FINISH_ERROR;
    case FileCall::Write: break;
  }
  if (c.size == 4) return WAV_FINISH_ERROR;  // a size field
  // A batch of samples. The once-a-second patch writes the rest of the batch and then the two
  // size fields, and recording goes on; finishing writes the rest, the two sizes and closes.
  // So a write followed by just two size fields and the close was the finish.
  int sizeFields = 0;
  for (std::size_t j = i + 1; j < trace.size(); ++j) {
    if (trace[j].fd != c.fd) continue;
    if (trace[j].kind == FileCall::Write && trace[j].size == 4) {
      ++sizeFields;
      continue;
    }
    return trace[j].kind == FileCall::Close && sizeFields == 2 ? WAV_FINISH_ERROR : WAV_DATA_ERROR;
  }
  return WAV_FINISH_ERROR;
}

// Five seconds at 8 kHz into files of two seconds: two full files and one cut by the finish.
void recordWav(const fs::path& dir, Watch& events, std::vector<uint8>* sent = nullptr, bool forceToStorage = false) {
  WavStream stream{8000, 1000, 2000000000};
  {
    WavRecorder rec(dir, "x", 2, nullptr, &events);
    rec.setForceToStorage(forceToStorage);
    stream.run(rec, 5);
  }
  if (sent) *sent = stream.sent;
}

// Every WAV file in `dir` reads with the library's reader, claims only whole samples that are
// on disk and that were sent, in blocks as sent; a file outside `suspect` is exactly whole.
void expectWavFilesSound(const fs::path& dir, const std::vector<uint8>& sent, const std::set<fs::path>& suspect) {
  const std::string all(sent.begin(), sent.end());
  for (const fs::path& f : wavFiles(dir)) {
    SCOPED_TRACE(f.filename().string());
    const std::string bytes = readFile(f);
    const ReadBack r = readWav(f);
    if (bytes.size() < 12) {
      // Opened, but not even the RIFF header reached the disk: only a file in play may be so.
      EXPECT_TRUE(suspect.count(f));
      continue;
    }
    if (!r.header || !r.header->fmt()) {
      // The header never reached the disk: only a file in play may be so, and it claims nothing.
      EXPECT_TRUE(suspect.count(f));
      EXPECT_EQ(mav::loadLE<uint32>(reinterpret_cast<const uint8*>(bytes.data()) + 4), 0u);
      continue;
    }
    const uint32 data = r.header->dataSize();
    const std::size_t headerSize = bytes.size() - r.samples.size();
    ASSERT_LE(data, r.samples.size());
    EXPECT_EQ(data % 2000, 0u) << "sizes are patched once a second, after whole blocks";
    const std::string claimed = r.samples.substr(0, data);
    std::size_t at = all.find(claimed);
    while (at != std::string::npos && at % 2000 != 0) at = all.find(claimed, at + 1);
    EXPECT_NE(at, std::string::npos) << "samples not as sent, in whole blocks";
    if (!suspect.count(f)) {
      EXPECT_EQ(headerSize + data, bytes.size());
      EXPECT_EQ(mav::loadLE<uint32>(reinterpret_cast<const uint8*>(bytes.data()) + 4) + 8u, bytes.size());
    }
  }
}

}  // namespace

TEST(WavRecorderStorageFault, EachFailedCallIsReportedAndLeavesReadableFiles) {
  std::vector<TracedCall> trace;
  std::vector<uint8> sent;
  {
    TempDir tmp;
    Watch clean;
    FaultyFiles io;
    recordWav(tmp.dir, clean, &sent);
    trace = io.trace();
    EXPECT_TRUE(clean.errors.empty());
    expectWavFilesSound(tmp.dir, sent, {});
    ASSERT_EQ(wavFiles(tmp.dir).size(), 3u);
    ASSERT_EQ(io.count(FileCall::Open), 3);
    ASSERT_EQ(io.count(FileCall::Close), 3);
    const auto sizeFields = std::count_if(trace.begin(), trace.end(), [](const TracedCall& c) {
      return c.kind == FileCall::Write && c.size == 4;
    });
    ASSERT_GE(sizeFields, 10);  // two size fields patched a second at least
  }
  failEachCallInTurn(trace, [](const fs::path& dir, Watch& events) { recordWav(dir, events); },
                     [&](std::size_t i, const fs::path& dir, const Watch& events, const LogCapture& log) {
    const int code = expectedWavCode(trace, i);
    ASSERT_EQ(events.errors.size(), 1u);
    EXPECT_EQ(events.errors[0].first, code);
    EXPECT_EQ(writerText(events.errors[0].second), MavWavWriter::errorStr(static_cast<WavWriteErr>(code)));
    if (code == WAV_DATA_ERROR) {
      ASSERT_FALSE(events.suspect.empty());
      const std::string line = "void MavWavWriter::st_data(WavStreamEvent*)Error logging with WAV file: " +
                               events.current.filename().string();
      EXPECT_NE(std::find(log.lines().begin(), log.lines().end(), line), log.lines().end()) << line;
    }
    expectWavFilesSound(dir, sent, events.suspect);
  });
}

TEST(WavRecorderStorageFault, ForcingToStorageSyncsAtEachPatchAndAFailedSyncIsADataError) {
  for (const bool force : {false, true}) {
    SCOPED_TRACE(force ? "forced" : "not forced");
    TempDir tmp;
    Watch events;
    std::vector<uint8> sent;
    FaultyFiles io;
    recordWav(tmp.dir, events, &sent, force);
    EXPECT_TRUE(events.errors.empty());
    // Each size patch but the one that finishes a file comes with a sync when forced: two size
    // fields a patch, three files.
    const auto sizeFields = std::count_if(io.trace().begin(), io.trace().end(), [](const TracedCall& c) {
      return c.kind == FileCall::Write && c.size == 4;
    });
    EXPECT_EQ(io.count(FileCall::Sync), force ? sizeFields / 2 - 3 : 0);
    expectWavFilesSound(tmp.dir, sent, {});
  }
  TempDir tmp;
  Watch events;
  std::vector<uint8> sent;
  {
    FaultyFiles io;
    io.failNth(FileCall::Sync, 2, EIO);
    recordWav(tmp.dir, events, &sent, true);
  }
  ASSERT_EQ(events.errors.size(), 1u);
  EXPECT_EQ(writerError(events.errors[0]), std::make_pair(int{WAV_DATA_ERROR}, MavWavWriter::errorStr(WAV_DATA_ERROR)));
  expectWavFilesSound(tmp.dir, sent, events.suspect);
}

TEST(WavRecorderStorageFault, FullDiskStopsCleanlyAtAnyPoint) {
  std::vector<uint8> sent;
  uint64_t total = 0;
  std::vector<TracedCall> cleanTrace;
  {
    TempDir tmp;
    Watch clean;
    FaultyFiles io;
    recordWav(tmp.dir, clean, &sent);
    total = io.written();
    cleanTrace = io.trace();
  }
  const std::size_t fdsBefore = openFds();
  for (uint64_t budget : {uint64_t{0}, uint64_t{11}, uint64_t{100}, uint64_t{16100}, total / 2, total - 10}) {
    SCOPED_TRACE("budget " + std::to_string(budget));
    TempDir tmp;
    Watch events;
    LogCapture log;
    std::vector<TracedCall> trace;
    {
      FaultyFiles io;
      io.fullAfter(budget);
      recordWav(tmp.dir, events);
      trace = io.trace();
    }
    // The write that crosses the budget is the first one cut short (or failed when nothing of
    // it fits); up to there the recording takes the clean path, so the clean trace says what
    // that call was for. A short write is retried, so the first call marked failed may come later.
    uint64_t before = 0;
    const auto first = std::find_if(trace.begin(), trace.end(), [&](const TracedCall& c) {
      if (c.kind != FileCall::Write) return false;
      if (before + c.size > budget) return true;
      before += c.size;
      return false;
    });
    ASSERT_NE(first, trace.end());
    ASSERT_FALSE(events.errors.empty());
    const int code = expectedWavCode(cleanTrace, static_cast<std::size_t>(first - trace.begin()));
    EXPECT_EQ(writerError(events.errors[0]), std::make_pair(code, MavWavWriter::errorStr(static_cast<WavWriteErr>(code))));
    expectWavFilesSound(tmp.dir, sent, events.suspect);
    EXPECT_EQ(openFds(), fdsBefore);
  }
}

namespace {

// Four seconds, two spectra a second, files of two seconds: two files.
void recordSpectra(const fs::path& dir, Watch& events) {
  SpectrumRecorder rec(dir, "s", 2, nullptr, &events);
  for (int s = 0; s < 4; ++s) {
    rec.take(fftHeader(100 + s));
    for (int k = 0; k < 2; ++k) {
      const uint8 bins[3] = {static_cast<uint8>(s), static_cast<uint8>(k), 7};
      rec.take(dataMsg(100 + s, static_cast<uint64>(s * 2 + k), bins, 3, 1, nullptr));
    }
  }
}

std::map<fs::path, std::string> contents(const fs::path& dir) {
  std::map<fs::path, std::string> m;
  for (const fs::path& f : wavFiles(dir, ".txt")) m[f.filename()] = readFile(f);
  return m;
}

}  // namespace

TEST(SpectrumRecorderStorageFault, EachFailedCallIsReportedAndFilesKeepWholeLines) {
  std::vector<TracedCall> trace;
  std::map<fs::path, std::string> whole;
  {
    TempDir tmp;
    Watch clean;
    FaultyFiles io;
    recordSpectra(tmp.dir, clean);
    trace = io.trace();
    EXPECT_TRUE(clean.errors.empty());
    whole = contents(tmp.dir);
    ASSERT_EQ(whole.size(), 2u);
    ASSERT_EQ(io.count(FileCall::Open), 2);
    ASSERT_EQ(io.count(FileCall::Close), 2);
    ASSERT_EQ(io.count(FileCall::Sync), 0);
  }
  failEachCallInTurn(trace, recordSpectra,
                     [&](std::size_t i, const fs::path& dir, const Watch& events, const LogCapture&) {
    ASSERT_EQ(events.errors.size(), 1u);
    if (trace[i].kind == FileCall::Open) {
      EXPECT_EQ(writerError(events.errors[0]), std::make_pair(1, std::string("Error opening spectrum file for writing.")));
    } else {
      EXPECT_EQ(writerError(events.errors[0]), std::make_pair(2, std::string("Failed to write spectrum data.")));
    }
    // Each file is a run of whole lines from the start of what a clean recording writes.
    for (const auto& [name, text] : contents(dir)) {
      SCOPED_TRACE(name.string());
      ASSERT_TRUE(whole.count(name));
      EXPECT_EQ(whole[name].compare(0, text.size(), text), 0);
      if (!text.empty()) {
        EXPECT_EQ(text.back(), '\n');
      }
      if (!events.suspect.count(dir / name)) {
        EXPECT_EQ(text, whole[name]);
      }
    }
  });
}

TEST(SpectrumRecorderStorageFault, FullDiskCutsTheFileAndIsReportedOncePerFile) {
  uint64_t total = 0;
  {
    TempDir tmp;
    Watch clean;
    FaultyFiles io;
    recordSpectra(tmp.dir, clean);
    total = io.written();
  }
  for (uint64_t budget : {uint64_t{0}, uint64_t{50}, total / 2, total - 1}) {
    SCOPED_TRACE("budget " + std::to_string(budget));
    TempDir tmp;
    Watch events;
    {
      FaultyFiles io;
      io.fullAfter(budget);
      recordSpectra(tmp.dir, events);
    }
    // Once per file that met the full disk: the second file too when the first one did.
    ASSERT_FALSE(events.errors.empty());
    EXPECT_EQ(events.errors.size(), budget < total / 2 ? 2u : 1u);
    for (const auto& e : events.errors) {
      EXPECT_EQ(writerError(e), std::make_pair(2, std::string("Failed to write spectrum data.")));
      EXPECT_NE(e.second.find("No space left on device"), std::string::npos) << e.second;
    }
    uint64_t onDisk = 0;
    for (const auto& [name, text] : contents(tmp.dir)) onDisk += text.size();
    EXPECT_EQ(onDisk, budget);
  }
}
