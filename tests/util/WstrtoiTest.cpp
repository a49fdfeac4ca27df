// Reading numbers from wide text as the record analyses do.
#include "veldrake/wstrtoi.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

namespace {

class Wstrtoi : public ::testing::Test {
 protected:
  void SetUp() override { std::setlocale(LC_ALL, "C.UTF-8"); }
  void TearDown() override { std::setlocale(LC_ALL, "C"); }
};

TEST_F(Wstrtoi, ReadsTheLeadingNumber) {
  EXPECT_EQ(wstrtoi(L"12"), 12);
  EXPECT_EQ(wstrtoi(L"-7"), -7);
  EXPECT_EQ(wstrtoi(L"42/7"), 42);
  EXPECT_EQ(wstrtoi(L"  5"), 5);
  EXPECT_EQ(wstrtoi(L""), 0);
  EXPECT_EQ(wstrtoi(L"abc"), 0);
  EXPECT_EQ(wstrtoi(L"x12"), 0);
}

TEST_F(Wstrtoi, AgreesWithAtoiOnTheNarrowText) {
  for (const char* text :
       {"99999999999", "-99999999999", "2147483647", "2147483648", "+3", "0x1F", "007", " \t-0"}) {
    std::wstring wide(text, text + std::char_traits<char>::length(text));
    EXPECT_EQ(wstrtoi(wide), std::atoi(text)) << text;
  }
}

TEST_F(Wstrtoi, KeepsWhatPrecedesACharacterTheLocaleCannotExpress) {
  // A lone surrogate has no UTF-8 form, so conversion ends there.
  EXPECT_EQ(wstrtoi(std::wstring(L"34") + wchar_t(0xD800) + L"5"), 34);
  EXPECT_EQ(wstrtoi(std::wstring(1, wchar_t(0xD800)) + L"5"), 0);
  // Multibyte characters take more room than one byte each; the number still reads.
  EXPECT_EQ(wstrtoi(L"12\u00e9\u00e9\u00e9"), 12);
}

}  // namespace
