// A decoded note rendered as content text, Markdown and HTML: one table of bodies with
// what each format must show, and an oracle over many random notes: the Markdown read
// back by cmark-gfm, and our HTML, must show exactly the note's characters.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>
#include <map>
#include <random>

#include "GfmDocument.h"
#include "NoteDocument.h"
#include "NoteFixtures.h"
#include "NoteInflate.h"
#include "NoteRender.h"

using namespace veldrake::backup;
using notefix::Looks;
using notefix::Run;

namespace {

const std::string kObject = "\xEF\xBF\xBC";  // U+FFFC

NoteDocument Decode(const std::vector<Run>& runs) {
  const std::string bytes = notefix::EncodeNote(runs);
  NoteBody body;
  NoteDocument document;
  EXPECT_TRUE(ParseNoteBody(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), &body));
  EXPECT_TRUE(BuildNoteDocument(std::move(body), kMaxDocumentBytes, &document));
  return document;
}

// The objects the table's bodies refer to, as a store would resolve them.
const ObjectLookup& Objects() {
  static NoteTableCells table;
  static std::map<std::string, ShownObject> shown;
  if (shown.empty()) {
    table.rows = table.columns = 2;
    table.cells.push_back(Decode({{"T\na|b"}}));  // a cell has no title line: "T" is text
    table.cells.emplace_back();
    table.cells.push_back(Decode({{"T\n"}, Looks("x", "b")}));
    table.cells.push_back(Decode({{"T\nline1\nline2"}}));
    shown["IMG"] = {ObjectShow::kImage, "a b.jpg", "veldrake-attachment:IMG", nullptr};
    shown["PDF"] = {ObjectShow::kFile, "doc.pdf", "veldrake-attachment:PDF", nullptr};
    shown["URL"] = {ObjectShow::kUrl, "Example", "https://example.com/x y", nullptr};
    shown["TAG"] = {ObjectShow::kInline, "#tag", "", nullptr};
    shown["LNK"] = {ObjectShow::kNoteLink, "Tokyo", "veldrake-note:N1", nullptr};
    shown["GONE"] = {ObjectShow::kMissing, "missing: x.jpg", "", nullptr};
    shown["TBL"] = {ObjectShow::kTable, "", "", &table};
  }
  static const ObjectLookup lookup = [](const std::string& id) -> const ShownObject* {
    const auto found = shown.find(id);
    return found == shown.end() ? nullptr : &found->second;
  };
  return lookup;
}

Run Object(const std::string& id, const std::string& uti = "public.data") {
  Run run{kObject};
  run.attachment = true;
  run.id = id;
  run.uti = uti;
  return run;
}

Run Style(Run run, int style, bool quote = false) {
  run.style = style;
  run.quote = quote;
  return run;
}

std::string Render(const std::vector<Run>& runs, NoteFormat format) {
  std::string out;
  EXPECT_TRUE(RenderNote(Decode(runs), 1, format, Objects(), kNoteBodyCap, &out));
  return out;
}

Run Linked(Run run, std::string url) {
  run.link = std::move(url);
  return run;
}

Run Coloured(std::string text, int rgb) {
  Run run{std::move(text)};
  run.color = rgb;
  return run;
}

struct RenderCase {
  const char* what;
  std::vector<Run> runs;
  std::string text, markdown, html;
};

const char kP[] = "<p dir=\"auto\">";
const char kLi[] = "<li dir=\"auto\">";

TEST(NoteRender, EachFormatShowsWhatTheBodyCarries) {
  const std::string p = kP, li = kLi;
  const std::string looks =
      "**bold** *it* ***both*** <u>u</u> ~~gone~~ x<sup>2</sup> H<sub>2</sub>O";
  const RenderCase cases[] = {
      {"inline looks",
       {{"T\n"},
        Looks("bold", "b"),
        {" "},
        Looks("it", "i"),
        {" "},
        Looks("both", "bi"),
        {" "},
        Looks("u", "u"),
        {" "},
        Looks("gone", "s"),
        {" x"},
        Looks("2", "^"),
        {" H"},
        Looks("2", "_"),
        {"O"}},
       looks,
       looks,
       p + "<b>bold</b> <i>it</i> <b><i>both</i></b> <u>u</u> <s>gone</s> x<sup>2</sup> "
           "H<sub>2</sub>O</p>\n"},
      {"punctuation at an edge takes tags",
       {{"T\n"}, Looks("\"quoted\"", "b"), {"x"}},
       "<b>\"quoted\"</b>x",
       "<b>\"quoted\"</b>x",
       p + "<b>&quot;quoted&quot;</b>x</p>\n"},
      {"the note's own markup characters",
       {{"T\n# not *a* [link](x) <b> & |~`\\_\n1. item?\n- dash\n  lead"}},
       "# not *a* [link](x) <b> & |~`\\_\n1. item?\n- dash\n  lead",
       "\\# not \\*a\\* \\[link\\](x) \\<b\\> \\& \\|\\~\\`\\\\\\_\\\n1\\. item?\\\n\\- dash\\\n"
       "&#32; lead",
       p + "# not *a* [link](x) &lt;b&gt; &amp; |~`\\_</p>\n" + p + "1. item?</p>\n" + p +
           "- dash</p>\n" + p + "  lead</p>\n"},
      {"a styled link",
       {{"T\n"},
        Linked({"see "}, "https://a.b/c_d"),
        Linked(Looks("this", "b"), "https://a.b/c_d"),
        {" end"}},
       "[see **this**](https://a.b/c_d) end",
       "[see **this**](https://a.b/c_d) end",
       p + "<a href=\"https://a.b/c_d\">see <b>this</b></a> end</p>\n"},
      {"a link that would run code is text",
       {{"T\n"}, Linked({"click"}, " JavaScript:alert(1)")},
       "click",
       "click",
       p + "click</p>\n"},
      {"blocks",
       {{"T\n"},
        Style({"Head\n"}, 1),
        Style({"quoted\n"}, -1, true),
        Style({"item\n"}, 100, true),
        Style({"code `x` ```\n"}, 4),
        Style({"more\n"}, 4),
        {"after"}},
       "## Head\n> quoted\n> - item\n````\ncode `x` ```\nmore\n````\nafter",
       "## Head\n\n> quoted\n>\n> - item\n\n````\ncode `x` ```\nmore\n````\n\nafter",
       "<h2 dir=\"auto\">Head</h2>\n<blockquote>\n" + p + "quoted</p>\n<ul>\n" + li +
           "item</li>\n</ul>\n</blockquote>\n<pre><code>code `x` ```\nmore</code></pre>\n" + p +
           "after</p>\n"},
      {"lists",
       {{"T\n"},
        notefix::Run{"a\n", 102},
        notefix::Run{"b\n", 102},
        notefix::Run{"c\n", 102, 1},
        notefix::Run{"d\n", 102},
        notefix::Run{"e\n", 100, 3},
        notefix::Run{"x\n", 103, 0, 1},
        notefix::Run{"y", 103, 0, 0}},
       "1. a\n2. b\n    1. c\n3. d\n            - e\n- [x] x\n- [ ] y",
       "1. a\n2. b\n    1. c\n3. d\n    - e\n- [x] x\n- [ ] y",
       "<ol>\n" + li + "a</li>\n" + li + "b<ol>\n" + li + "c</li>\n</ol>\n</li>\n" + li +
           "d<ul>\n" + li + "e</li>\n</ul>\n</li>\n</ol>\n<ul>\n" + li +
           "<input type=\"checkbox\" disabled checked> x</li>\n" + li +
           "<input type=\"checkbox\" disabled> y</li>\n</ul>\n"},
      {"objects",
       {{"T\n"},
        Object("IMG"),
        {" "},
        Object("PDF"),
        {" "},
        Object("URL"),
        {" "},
        Object("TAG"),
        {" "},
        Object("LNK"),
        {" "},
        Object("GONE"),
        {" "},
        Object("NONE", "com.x.y")},
       "[attachment: a b.jpg] [attachment: doc.pdf] [Example](<https://example.com/x y>) #tag "
       "Tokyo [missing: x.jpg] [attachment: com.x.y]",
       "![a b.jpg](veldrake-attachment:IMG) [doc.pdf](veldrake-attachment:PDF) "
       "[Example](https://example.com/x%20y) #tag [Tokyo](veldrake-note:N1) \\[missing: x.jpg\\] "
       "\\[attachment: com.x.y\\]",
       p + "<img src=\"veldrake-attachment:IMG\" alt=\"a b.jpg\"> <a "
           "href=\"veldrake-attachment:PDF\">doc.pdf</a> <a "
           "href=\"https://example.com/x%20y\">Example</a> #tag <a "
           "href=\"veldrake-note:N1\">Tokyo</a> <span class=\"missing\">[missing: x.jpg]</span> "
           "<span class=\"attachment\">[attachment: com.x.y]</span></p>\n"},
      {"a table",
       {{"T\nbefore\n"}, Object("TBL", "com.apple.notes.table"), {"\nafter"}},
       "before\n| T<br>a\\|b |  |\n| --- | --- |\n| T<br>**x** | T<br>line1<br>line2 |\nafter",
       "before\n\n| T<br>a\\|b |  |\n| --- | --- |\n| T<br>**x** | T<br>line1<br>line2 |\n\nafter",
       p +
           "before</p>\n<table>\n<tr><td dir=\"auto\">T<br>a|b</td><td dir=\"auto\"></td></tr>\n"
           "<tr><td dir=\"auto\">T<br><b>x</b></td><td dir=\"auto\">T<br>line1<br>line2</td></tr>\n"
           "</table>\n" +
           p + "after</p>\n"},
      {"colour in HTML only",
       {{"T\n"}, Coloured("red", 0xD02020)},
       "red",
       "red",
       p + "<span style=\"color:#d02020\">red</span></p>\n"},
  };
  for (const RenderCase& c : cases) {
    EXPECT_EQ(Render(c.runs, NoteFormat::kText), c.text) << c.what;
    EXPECT_EQ(Render(c.runs, NoteFormat::kMarkdown), c.markdown) << c.what;
    EXPECT_EQ(Render(c.runs, NoteFormat::kHtml), c.html) << c.what;
  }
}

std::string WithoutSpace(std::string text) {
  text.erase(std::remove_if(text.begin(), text.end(), [](char c) { return std::isspace(c); }),
             text.end());
  return text;
}

// What a browser shows of HTML, whitespace aside: tags dropped, entities decoded.
std::string Visible(const std::string& html) {
  static const std::map<std::string, std::string> kEntities = {
      {"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}, {"#39", "'"}, {"#32", " "}};
  std::string out;
  for (size_t at = 0; at < html.size(); ++at) {
    if (html[at] == '<') {
      at = html.find('>', at);
      if (at == std::string::npos) break;
      continue;
    }
    const size_t semicolon = html[at] == '&' ? html.find(';', at) : std::string::npos;
    const auto entity = semicolon == std::string::npos
                            ? kEntities.end()
                            : kEntities.find(html.substr(at + 1, semicolon - at - 1));
    if (entity != kEntities.end()) {
      out += entity->second;
      at = semicolon;
    } else {
      out += html[at];
    }
  }
  return WithoutSpace(out);
}

std::string Cmark(const std::string& markdown) {
  const GfmDocument document(markdown);
  char* html = cmark_render_html(document.root(), CMARK_OPT_UNSAFE, document.extensions());
  std::string out = html;
  free(html);
  // cmark-gfm leaves a task item inside a block quote as text; it is still our checkbox.
  for (const char* box : {"<li>[x] ", "<li>[ ] "})
    for (size_t at = out.find(box); at != std::string::npos; at = out.find(box, at))
      out.replace(at, std::strlen(box), "<li>");
  return out;
}

// A random line of random runs in the markup-heavy alphabet, with random looks and style.
std::vector<Run> RandomLine(std::mt19937& random, bool last) {
  static const char* const kAlphabet[] = {
      "a", "Z", "1", " ",  "*", "_", "`", "#", "[", "]", "(",  ")", "<",        ">",
      "|", "~", "&", "\\", "!", "-", "+", "=", ".", ":", "\"", "'", "\xC3\xA9", "\xF0\x9F\xA6\x8A"};
  static const char* const kLooks[] = {"", "", "b", "i", "bi", "s", "u", "^", "_", "bs"};
  static const int kStyles[] = {-1, -1, -1, 0, 1, 2, 4, 100, 101, 102, 103};
  const auto pick = [&random](size_t n) {
    return std::uniform_int_distribution<size_t>(0, n - 1)(random);
  };
  const int style = kStyles[pick(std::size(kStyles))];
  const int indent = static_cast<int>(pick(3)),
            checked = style == 103 ? static_cast<int>(pick(2)) : -1;
  const bool quote = pick(5) == 0;
  const std::string link = pick(6) == 0 ? "https://x.y/" + std::string(kAlphabet[pick(3)]) : "";
  std::vector<Run> runs(1 + pick(4));
  for (Run& run : runs) {
    std::string text;
    for (size_t n = 1 + pick(6); n > 0; --n) text += kAlphabet[pick(std::size(kAlphabet))];
    run = Looks(text, kLooks[pick(std::size(kLooks))]);
    run.style = style, run.indent = indent, run.checked = checked, run.quote = quote;
    run.link = pick(2) == 0 ? link : "";
  }
  if (!last) runs.back().text += "\n";
  return runs;
}

TEST(NoteRender, MarkdownAndHtmlShowExactlyTheNotesCharacters) {
  std::mt19937 random(20261124);
  for (int round = 0; round < 400; ++round) {
    std::vector<notefix::Run> runs = {{"Title\n"}};
    std::string expected;
    const int lines = 1 + static_cast<int>(random() % 8);
    for (int i = 0; i < lines; ++i) {
      for (notefix::Run& run : RandomLine(random, i + 1 == lines)) {
        expected += run.text;
        runs.push_back(std::move(run));
      }
    }
    const std::string markdown = Render(runs, NoteFormat::kMarkdown);
    EXPECT_EQ(Visible(Cmark(markdown)), WithoutSpace(expected)) << markdown;
    EXPECT_EQ(Visible(Render(runs, NoteFormat::kHtml)), WithoutSpace(expected))
        << Render(runs, NoteFormat::kHtml);
    if (HasFailure()) break;
  }
}

}  // namespace
