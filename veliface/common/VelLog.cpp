#include <veliface/common/VelLog.h>

#include <iostream>
#include <mutex>
#include <utility>

namespace {

// The writer's finishing thread may log while the host thread logs too, so the sink is
// guarded; the lines themselves are short and rare.
std::mutex& sinkMutex() {
  static std::mutex m;
  return m;
}

VelLog::Sink& currentSink() {
  static VelLog::Sink sink;
  return sink;
}

}  // namespace

void VelLog::setSink(Sink sink) { exchangeSink(std::move(sink)); }

VelLog::Sink VelLog::exchangeSink(Sink sink) {
  std::lock_guard<std::mutex> lock(sinkMutex());
  std::swap(currentSink(), sink);
  return sink;
}

void VelLog::write(const std::string& line) {
  std::lock_guard<std::mutex> lock(sinkMutex());
  const Sink& sink = currentSink();
  if (sink) {
    sink(line);
  } else {
    std::cout << line << '\n' << std::flush;
  }
}
