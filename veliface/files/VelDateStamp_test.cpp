#include <veliface/files/VelDateStamp.h>

#include <gtest/gtest.h>

#include <climits>
#include <ctime>
#include <string>

namespace {

struct StampCase {
  long long t;
  const char* wav;
  const char* date;
  const char* time;
};

TEST(DateStamp, StampsAreUtcWithZeroFilledFields) {
  const StampCase cases[] = {
      {0, "1970-01-01T00:00:00+00", "1970-01-01", "00:00:00"},
      {86399, "1970-01-01T23:59:59+00", "1970-01-01", "23:59:59"},
      {951782400, "2000-02-29T00:00:00+00", "2000-02-29", "00:00:00"},
      {1700000000, "2023-11-14T22:13:20+00", "2023-11-14", "22:13:20"},
      // Years get no width outside file names: year 1 prints as "1".
      {-62135596800LL, "1-01-01T00:00:00+00", "1-01-01", "00:00:00"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.t);
    EXPECT_EQ(VelUtil::wavDateStamp(c.t), c.wav);
    EXPECT_EQ(VelUtil::specDateStamp(c.t), c.date);
    EXPECT_EQ(VelUtil::specTimeStamp(c.t), c.time);
  }
}

TEST(DateStamp, FileNamesHaveAFourWideYearAndNoSeparators) {
  EXPECT_EQ(VelUtil::dateTimeFname("log", 0), "log19700101_000000");
  EXPECT_EQ(VelUtil::dateTimeFname("", 1700000000), "20231114_221320");
  EXPECT_EQ(VelUtil::dateTimeFname("x", -62135596800LL + 3661), "x   10101_010101");
}

TEST(DateStamp, UnrepresentableTimeFallsBackToLocalNow) {
  char before[32];
  char after[32];
  const std::time_t t0 = std::time(nullptr);
  std::strftime(before, sizeof before, "%Y-%m-%dT%H:%M:%S+00", std::localtime(&t0));
  const std::string stamp = VelUtil::wavDateStamp(LLONG_MAX);
  const std::time_t t1 = std::time(nullptr);
  std::strftime(after, sizeof after, "%Y-%m-%dT%H:%M:%S+00", std::localtime(&t1));
  EXPECT_TRUE(stamp == before || stamp == after) << stamp;
  EXPECT_EQ(VelUtil::specDateStamp(LLONG_MAX).size(), 10u);
}

TEST(DateStamp, SizeStringsUseTwoSignificantDigits) {
  const std::pair<unsigned long long, const char*> cases[] = {
      {0, "0 B"},           {5, "5 B"},
      {100, "1e+02 B"},     {1023, "1e+03 B"},
      {1024, "1 KB"},       {1536, "1.5 KB"},
      {1048576, "1 MB"},    {10ULL << 20, "10 MB"},
      {123ULL << 20, "1.2e+02 MB"}, {1ULL << 40, "1 TB"},
      {ULLONG_MAX, "16 EB"},
  };
  for (const auto& c : cases) EXPECT_EQ(VelUtil::sizeString(c.first), c.second) << c.first;
}

TEST(DateStamp, CurrentTimeIsTheLibraryStaticBuffer) {
  std::tm* td = VelUtil::currentTD();
  ASSERT_NE(td, nullptr);
  const std::time_t now = std::time(nullptr);
  EXPECT_EQ(std::localtime(&now), td);  // the same static buffer, overwritten by the call
  EXPECT_GE(td->tm_year + 1900, 2023);
}

}  // namespace
