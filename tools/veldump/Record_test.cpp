#include "Record.h"

#include <gtest/gtest.h>

namespace {

TEST(Record, JsonAndTextEscapeEveryAwkwardByte) {
  const std::string nasty = std::string("a\"b\\c\nd\te") + '\x01' + '\xC3' + "=";
  EXPECT_EQ(veldump::jsonQuote(nasty), "\"a\\\"b\\\\c\\nd\\te\\u0001\\u00C3=\"");
  veldump::Record r;
  r.add("s", nasty).add("empty", "").add("plain", "abc").add("n", -5).add("u", 7u)
      .add("x", 1.5).add("f", false).add("list", std::vector<std::string>{"a b", "c"});
  EXPECT_EQ(veldump::toJson(r),
            "{\"s\":\"a\\\"b\\\\c\\nd\\te\\u0001\\u00C3=\",\"empty\":\"\",\"plain\":\"abc\","
            "\"n\":-5,\"u\":7,\"x\":1.5,\"f\":false,\"list\":[\"a b\",\"c\"]}");
  EXPECT_EQ(veldump::toText(r),
            "s=\"a\\\"b\\\\c\\nd\\te\\x01\\xC3=\" empty=\"\" plain=abc n=-5 u=7 x=1.5 f=no "
            "list=[\"a b\" c]");
}

}  // namespace
