// HTML escaping and Base64, the encoder checked against Python's base64 module.
#include "veldrake/Encoders.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The bytes make_base64_table.py encodes for length n.
std::string Pattern(size_t n) {
  std::string bytes;
  for (size_t i = 0; i < n; ++i) bytes += static_cast<char>((7 * i + 13 * n + 1) % 256);
  return bytes;
}

// Expected encodings by input length, line breaks restored.
std::vector<std::string> LoadExpected() {
  std::ifstream in(BASE64_EXPECTED);
  std::vector<std::string> table;
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    size_t n = 0;
    std::string text;
    fields >> n;
    fields.ignore(1);
    std::getline(fields, text);
    for (char& c : text)
      if (c == '|') c = '\n';
    if (n == table.size()) table.push_back(text);
  }
  return table;
}

// Every length up to 200 crosses the line breaks behind each full line of 76 characters.
TEST(Base64Encode, MatchesPythonForEveryLengthUpTo200) {
  EXPECT_EQ(base64_encode(nullptr, 0), "");
  EXPECT_EQ(base64_encode(std::string("a\0b", 3)), "YQBi");
  const std::vector<std::string> expected = LoadExpected();
  ASSERT_EQ(expected.size(), 201u);
  for (size_t n = 0; n < expected.size(); ++n) {
    const std::string input = Pattern(n);
    EXPECT_EQ(base64_encode(input), expected[n]) << "length " << n;
    EXPECT_EQ(base64_encode(reinterpret_cast<const unsigned char*>(input.data()),
                            static_cast<unsigned>(n)),
              expected[n])
        << "length " << n;
  }
}

TEST(Base64Decode, RoundTripsPythonTextPaddedOrNot) {
  const std::vector<std::string> expected = LoadExpected();
  for (size_t n = 0; n < expected.size(); ++n) {
    std::string joined;
    for (char c : expected[n])
      if (c != '\n') joined += c;
    EXPECT_EQ(base64_decode(joined), Pattern(n)) << "length " << n;
    EXPECT_EQ(base64_decode(joined.substr(0, joined.find('='))), Pattern(n)) << "length " << n;
    // A line break stops the decoder: only the first line comes back.
    EXPECT_EQ(base64_decode(expected[n]), Pattern(n).substr(0, 57)) << "length " << n;
  }
}

// Decoding stops at the first character outside the alphabet; a short trailing group gives
// one byte fewer than its characters.
TEST(Base64Decode, StopsOutsideTheAlphabetAndShortGroupsGiveWhatTheyCan) {
  const std::pair<std::string, std::string> cases[] = {{"QUJD RUZH", "ABC"},
                                                       {"QUJD\nRUZH", "ABC"},
                                                       {"QUJD!RUZH", "ABC"},
                                                       {"QUJD-_", "ABC"},
                                                       {"QUJD\xC3\x81RUZH", "ABC"},
                                                       {std::string("QUJD\0RUZH", 9), "ABC"},
                                                       {"QU=JD", "A"},
                                                       {"=QUJD", ""},
                                                       {"", ""},
                                                       {"QUJDR", "ABC"},
                                                       {"QUJDRA", "ABCD"},
                                                       {"QUJDREU", "ABCDE"},
                                                       {"//", "\xFF"}};
  for (const auto& [text, bytes] : cases) EXPECT_EQ(base64_decode(text), bytes) << text;
}

// Control bytes become decimal references, the three markup characters their entities;
// quotes, DEL and every byte of UTF-8 pass unchanged, and nothing is unescaped first.
TEST(HtmlEncode, EscapesByALiteralTable) {
  const struct {
    std::string in, out;
  } table[] = {
      {std::string("\0", 1), "&#0;"},
      {"\x01\t\n\r\x1F", "&#1;&#9;&#10;&#13;&#31;"},
      {" !\"#%'/=?", " !\"#%'/=?"},
      {"&<>", "&amp;&lt;&gt;"},
      {"a<b>&amp;", "a&lt;b&gt;&amp;amp;"},
      {std::string("x\0y", 3), "x&#0;y"},
      {"\x7F\x80\xC3\xA9\xFF", "\x7F\x80\xC3\xA9\xFF"},
      {"09AZaz~", "09AZaz~"},
      {"", ""},
  };
  for (const auto& row : table) EXPECT_EQ(html_encode(row.in), row.out) << row.out;
}

}  // namespace
