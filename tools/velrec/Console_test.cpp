#include "Console.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

namespace {

// What the console writes to standard error while `body` runs.
template <typename Body>
std::string stderrOf(Body body) {
  std::ostringstream captured;
  std::streambuf* old = std::cerr.rdbuf(captured.rdbuf());
  body();
  std::cerr.rdbuf(old);
  return captured.str();
}

TEST(Console, AFloodOfTheSameDiagnosticIsSummedUp) {
  const std::string out = stderrOf([] {
    velrec::Console console(false);
    console.log("starting");
    for (int i = 0; i < 12345 + 3; ++i) console.log("Unknown message on stream. Code=" + std::to_string(i % 250));
    console.log("waveform stream started");
    console.log("waveform stream started");
  });
  EXPECT_EQ(out,
            "velrec: starting\n"
            "velrec: Unknown message on stream. Code=0\n"
            "velrec: Unknown message on stream. Code=1\n"
            "velrec: Unknown message on stream. Code=2\n"
            "velrec: ... repeated 12,345 times (the last: Unknown message on stream. Code=97)\n"
            "velrec: waveform stream started\n"
            "velrec: waveform stream started\n");
}

TEST(Console, AFloodStillRunningAtTheEndIsSummedUpThen) {
  const std::string out = stderrOf([] {
    velrec::Console console(false);
    for (int i = 0; i < 5; ++i) console.log("lost");
  });
  EXPECT_EQ(out, "velrec: lost\nvelrec: lost\nvelrec: lost\nvelrec: ... repeated 2 times (the last: lost)\n");
}

}  // namespace
