// Reading numbers from wide text as the record analyses do.
#include "veldrake/wstrtoi.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Wstrtoi, ReadsTheLeadingNumberAsAtoiDoes) {
  const struct {
    std::wstring text;
    int number;
  } table[] = {
      {L"12", 12},
      {L"-7", -7},
      {L"42/7", 42},
      {L" \t-0", 0},
      {L"", 0},
      {L"x12", 0},
      {L"+3", 3},
      {L"0x1F", 0},
      {L"007", 7},
      {L"2147483647", 2147483647},
      // Multibyte characters take more room than one byte each; the number still reads.
      {L"12\u00e9\u00e9\u00e9", 12},
      // A lone surrogate has no UTF-8 form, so conversion ends there.
      {std::wstring(L"34") + wchar_t(0xD800) + L"5", 34},
      {std::wstring(1, wchar_t(0xD800)) + L"5", 0},
  };
  for (const auto& row : table) EXPECT_EQ(wstrtoi(row.text), row.number) << row.number;
}

}  // namespace
