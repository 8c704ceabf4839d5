#include <veliface/common/VelLog.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::string>;

VelLog::Sink into(Lines& lines) {
  return [&lines](const std::string& line) { lines.push_back(line); };
}

TEST(VelLog, ScopesNestAndEachPutsBackTheSinkItReplaced) {
  Lines host, outer, inner;
  VelLog::setSink(into(host));
  VelLog::write("to host");
  {
    const VelLog::SinkScope outerScope(into(outer));
    VelLog::write("to outer");
    {
      const VelLog::SinkScope innerScope(into(inner));
      VelLog::write("to inner");
    }
    VelLog::write("to outer again");
    {
      const VelLog::SinkScope quiet(VelLog::discard);
      VelLog::write("dropped");
    }
  }
  VelLog::write("to host again");
  VelLog::setSink(nullptr);

  EXPECT_EQ(host, (Lines{"to host", "to host again"}));
  EXPECT_EQ(outer, (Lines{"to outer", "to outer again"}));
  EXPECT_EQ(inner, (Lines{"to inner"}));
}

TEST(VelLog, AnEmptySinkInAScopeMeansTheDefaultUntilTheScopeEnds) {
  Lines host;
  VelLog::setSink(into(host));
  testing::internal::CaptureStdout();
  {
    const VelLog::SinkScope defaults(VelLog::Sink{});
    VelLog::write("on standard output");
  }
  const std::string printed = testing::internal::GetCapturedStdout();
  VelLog::write("to host");
  VelLog::setSink(nullptr);

  EXPECT_EQ(printed, "on standard output\n");
  EXPECT_EQ(host, (Lines{"to host"}));
}

}  // namespace
