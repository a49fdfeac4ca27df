// A modern note's body: inflating with a cap, the bounded protobuf reader and the
// Markdown rendering, against bodies encoded by the tests' own encoder.
#include <gtest/gtest.h>

#include <zlib.h>

#include <random>

#include "NoteFixtures.h"
#include "NoteInflate.h"
#include "NoteMarkdown.h"
#include "NoteProto.h"

using namespace veldrake::backup;
using notefix::Run;

namespace {

const std::string kEmoji = "\xF0\x9F\x98\x80";  // U+1F600, two UTF-16 units
const std::string kObject = "\xEF\xBF\xBC";     // U+FFFC, where an attachment stands

bool Parse(const std::string& bytes, NoteBody* body) {
  return ParseNoteBody(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), body);
}

// Title and content of an encoded body; the test fails if it does not parse.
std::pair<std::string, std::string> Render(const std::vector<Run>& runs) {
  NoteBody body;
  EXPECT_TRUE(Parse(notefix::EncodeNote(runs), &body));
  std::pair<std::string, std::string> out;
  EXPECT_TRUE(RenderNoteBody(body, kNoteBodyCap, &out.first, &out.second));
  return out;
}

Run Styled(std::string text, int style, int indent = 0) {
  Run run{std::move(text)};
  run.style = style;
  run.indent = indent;
  return run;
}

Run Check(std::string text, int checked) {
  Run run = Styled(std::move(text), kParagraphChecklist);
  run.checked = checked;
  return run;
}

Run Linked(std::string text, std::string link) {
  Run run{std::move(text)};
  run.link = std::move(link);
  return run;
}

Run Attachment(std::string uti) {
  Run run{kObject};
  run.attachment = true;
  run.uti = std::move(uti);
  return run;
}

struct RenderCase {
  const char* what;
  std::vector<Run> runs;
  std::string title, content;
};

TEST(NoteBody, RendersTheStructureTheBodyCarries) {
  const RenderCase cases[] = {
      {"plain", {{"Title\nHello\nworld"}}, "Title", "Hello\nworld"},
      {"title only", {{"Just a title"}}, "Just a title", ""},
      {"trailing newline kept", {{"T\nline\n"}}, "T", "line\n"},
      {"headings",
       {Styled("T\n", kParagraphTitle),
        Styled("Big\n", kParagraphTitle),
        Styled("Head\n", kParagraphHeading),
        Styled("Sub\n", kParagraphSubheading),
        {"text"}},
       "T",
       "# Big\n## Head\n### Sub\ntext"},
      {"bullets nested",
       {{"T\n"},
        Styled("a\n", kParagraphDotted),
        Styled("b\n", kParagraphDashed, 1),
        Styled("c", kParagraphDotted)},
       "T",
       "- a\n    - b\n- c"},
      {"numbered per level, restarted after a break",
       {{"T\n"},
        Styled("a\n", kParagraphNumbered),
        Styled("b\n", kParagraphNumbered),
        Styled("c\n", kParagraphNumbered, 1),
        Styled("d\n", kParagraphNumbered),
        {"x\n"},
        Styled("e", kParagraphNumbered)},
       "T",
       "1. a\n2. b\n    1. c\n3. d\nx\n1. e"},
      {"checklist", {{"T\n"}, Check("milk\n", 0), Check("eggs", 1)}, "T", "- [ ] milk\n- [x] eggs"},
      {"link inside a line",
       {{"T\nsee "}, Linked("the site", "https://x.org/a"), {" now"}},
       "T",
       "see [the site](https://x.org/a) now"},
      {"link with a space in its target", {{"T\n"}, Linked("x", "a b")}, "T", "[x](<a b>)"},
      {"link text is plain in the title",
       {Linked("Site", "https://x.org"), {"\nbody"}},
       "Site",
       "body"},
      {"attachment placeholder",
       {{"T\n"}, Attachment("public.jpeg"), {"\n"}, Attachment("")},
       "T",
       "[attachment: public.jpeg]\n[attachment]"},
      {"monospaced fenced",
       {{"T\n"}, Styled("int x;\nx++;\n", kParagraphMonospaced), {"after"}},
       "T",
       "```\nint x;\nx++;\n```\nafter"},
      {"emoji count two units",
       {{"T\n" + kEmoji + kEmoji + " "}, Linked("x" + kEmoji, "u"), {kEmoji}},
       "T",
       kEmoji + kEmoji + " [x" + kEmoji + "](u)" + kEmoji},
  };
  for (const RenderCase& c : cases) {
    const auto [title, content] = Render(c.runs);
    EXPECT_EQ(title, c.title) << c.what;
    EXPECT_EQ(content, c.content) << c.what;
  }
}

// Oracle: random texts of mixed widths cut into runs at random, some of them links. The
// expected text is built from the pieces themselves: links as [text](url), the rest as is.
TEST(NoteBody, RunsOverMixedWidthTextMatchTheirPieces) {
  const std::vector<std::string> alphabet = {"a",   "Z", " ", "\n", "\xC3\xA9", "\xE4\xB8\xAD",
                                             kEmoji};
  std::mt19937 random(19);
  for (int round = 0; round < 400; ++round) {
    std::vector<notefix::Run> runs = {{"Title\n"}};
    std::string expected;
    const int pieces = 1 + static_cast<int>(random() % 8);
    for (int p = 0; p < pieces; ++p) {
      const bool link = random() % 3 == 0;
      std::string text;
      const int length = (link ? 1 : 0) + static_cast<int>(random() % 6);
      for (int i = 0; i < length; ++i) {
        const std::string& c = alphabet[random() % alphabet.size()];
        text += link && c == "\n" ? "x" : c;
      }
      const std::string url = "u" + std::to_string(p);
      runs.push_back(link ? Linked(text, url) : notefix::Run{text});
      expected += link ? "[" + text + "](" + url + ")" : text;
    }
    const auto [title, content] = Render(runs);
    EXPECT_EQ(title, "Title");
    ASSERT_EQ(content, expected) << "round " << round;
  }
}

TEST(NoteBody, EveryCutOfAValidBodyIsRefused) {
  const std::string whole =
      notefix::EncodeNote({{"T\n"}, Check("a", 1), Linked("b", "https://x"), Attachment("x")});
  NoteBody body;
  ASSERT_TRUE(Parse(whole, &body));
  for (size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(Parse(whole.substr(0, size), &body)) << "cut at " << size;
}

TEST(NoteBody, MalformedMessagesAreRefused) {
  using notefix::BytesField;
  using notefix::VarintField;
  const std::string note = BytesField(2, "T\nx");
  const struct {
    const char* what;
    std::string bytes;
  } cases[] = {
      {"no document", VarintField(1, 0)},
      {"document without a note", BytesField(2, VarintField(2, 0))},
      {"inner length past its message", BytesField(2, BytesField(3, note).substr(0, 3) + "\x7F")},
      {"eleven-byte varint", BytesField(2, BytesField(3, note)) + std::string(10, '\xFF') + "\x01"},
      {"group wire type", BytesField(2, BytesField(3, note + "\x0B"))},
      {"field number zero", BytesField(2, BytesField(3, std::string("\x02\x00", 2) + note))},
      {"fixed32 cut short", BytesField(2, BytesField(3, note + "\x0D\x01\x02"))},
  };
  for (const auto& c : cases) {
    NoteBody body;
    EXPECT_FALSE(Parse(c.bytes, &body)) << c.what;
  }
}

// Runs that do not fit the text (too long, cut inside a surrogate pair, past the end,
// negative) change the look, never the characters.
TEST(NoteBody, RunsThatDoNotFitTheTextKeepEveryCharacter) {
  using notefix::BytesField;
  using notefix::VarintField;
  const std::string text = "T\nab" + kEmoji + "c\xFF" + "d";
  const int64_t lengths[][3] = {{2, 1, 1}, {3, 1, 1000}, {0, -5, 2147483647}, {1, 1, 1}, {5, 0, 0}};
  for (const auto& split : lengths) {
    std::string note = BytesField(2, text);
    for (int64_t length : split) {
      const std::string run = VarintField(1, static_cast<uint64_t>(length)) +
                              BytesField(2, VarintField(1, kParagraphDotted)) + BytesField(9, "u");
      note += BytesField(5, run);
    }
    NoteBody body;
    ASSERT_TRUE(Parse(BytesField(2, BytesField(3, note)), &body));
    std::string title, content;
    ASSERT_TRUE(RenderNoteBody(body, kNoteBodyCap, &title, &content));
    EXPECT_EQ(title, "T");
    std::string stripped;
    for (char ch : content)
      if (std::string("[]()u- ").find(ch) == std::string::npos) stripped += ch;
    EXPECT_EQ(stripped, "ab" + kEmoji + "c\xEF\xBF\xBD" + "d") << content;
  }
}

// Markup is bounded too: many short bulleted lines may render past the body's own size.
TEST(NoteBody, RenderingStopsAtItsLimit) {
  std::vector<notefix::Run> runs = {{"T\n"}};
  for (int i = 0; i < 100; ++i) runs.push_back(Styled("a\n", kParagraphDotted, 8));
  NoteBody body;
  ASSERT_TRUE(Parse(notefix::EncodeNote(runs), &body));
  const size_t rendered = 100 * std::string("                                - a\n").size();
  std::string title, content;
  EXPECT_TRUE(RenderNoteBody(body, rendered, &title, &content));
  EXPECT_EQ(content.size(), rendered);  // the last line's newline ends an empty line
  EXPECT_FALSE(RenderNoteBody(body, rendered - 1, &title, &content));
}

TEST(NoteInflate, CapsAndRefusesDamagedStreams) {
  const std::string text(5000, 'n');
  std::string zlibbed(compressBound(text.size()), '\0');
  uLongf zlibSize = zlibbed.size();
  ASSERT_EQ(compress(reinterpret_cast<Bytef*>(&zlibbed[0]), &zlibSize,
                     reinterpret_cast<const Bytef*>(text.data()), text.size()),
            Z_OK);
  zlibbed.resize(zlibSize);
  const std::string gzipped = notefix::Gzip(text);
  const struct {
    const char* what;
    std::string input;
    size_t cap;
    Inflated result;
  } cases[] = {
      {"gzip", gzipped, kNoteBodyCap, Inflated::kOk},
      {"zlib", zlibbed, kNoteBodyCap, Inflated::kOk},
      {"exactly the cap", gzipped, text.size(), Inflated::kOk},
      {"one byte past the cap", gzipped, text.size() - 1, Inflated::kTooLarge},
      {"truncated", gzipped.substr(0, gzipped.size() / 2), kNoteBodyCap, Inflated::kDamaged},
      {"not compressed", text, kNoteBodyCap, Inflated::kDamaged},
      {"empty", "", kNoteBodyCap, Inflated::kDamaged},
  };
  for (const auto& c : cases) {
    std::string out = "stale";
    const Inflated result = InflateNoteBody(reinterpret_cast<const uint8_t*>(c.input.data()),
                                            c.input.size(), c.cap, &out);
    EXPECT_EQ(result, c.result) << c.what;
    EXPECT_EQ(out, result == Inflated::kOk ? text : "") << c.what;
  }
}

}  // namespace
