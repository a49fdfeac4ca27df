// The legacy notes' HTML bodies as the same text form modern notes take.
#include <gtest/gtest.h>

#include "LegacyNotesHtml.h"

using veldrake::backup::RenderLegacyNoteHtml;

namespace {

TEST(NoteHtml, RendersLegacyBodies) {
  const struct {
    const char* html;
    const char* title;
    const char* content;
  } cases[] = {
      {"Title<div>Line one</div><div><br></div><div>Line &amp; two</div>", "Title",
       "Line one\n\nLine & two"},
      {"T<ul><li>a</li><li>b<ol><li>c</li><li>d</li></ol></li></ul>after", "T",
       "- a\n- b\n    1. c\n    2. d\nafter"},
      {"T<h1>Big</h1><h4>Small</h4>rest", "T", "# Big\n### Small\nrest"},
      {"T<div>see <a href=\"http://x.org/?a=1&amp;b=2\">here</a>.</div>", "T",
       "see [here](http://x.org/?a=1&b=2)."},
      {"T<div><A HREF='u'></a>empty link</div>", "T", "empty link"},
      {"T<br><a href='a\nb (c)'>x</a>", "T", "[x](<ab (c)>)"},
      {"T<div><img src=\"x.jpg\"></div>", "T", "[attachment]"},
      {"T<br>&#233;&#x1F600;&bogus;&#0;&", "T", "\xC3\xA9\xF0\x9F\x98\x80&bogus;\xEF\xBF\xBD&"},
      {"<head><title>x</title><style>p{}</style></head>T<br>x", "T", "x"},
      {"T<!-- <br> hidden --><br>\r\n  spaced\ttext\nwrapped", "T", "  spaced\ttext wrapped"},
      {"T<br>abc<div", "T", "abc"},
      {"", "", ""},
      // Ten levels deep: indented as the eighth, the deepest we indent.
      {"<ul><ul><ul><ul><ul><ul><ul><ul><ul><ul><li>deep</li>",
       "                                - deep", ""},
  };
  for (const auto& c : cases) {
    std::string title, content;
    ASSERT_TRUE(RenderLegacyNoteHtml(c.html, 1 << 20, &title, &content));
    EXPECT_EQ(title, c.title) << c.html;
    EXPECT_EQ(content, c.content) << c.html;
  }
}

// Markup is bounded too: a short item can render longer than its HTML.
TEST(NoteHtml, RenderingStopsAtItsLimit) {
  std::string html = "T";
  for (int i = 0; i < 50; ++i) html += "<ol><li>a</li>";
  std::string title, content;
  ASSERT_TRUE(RenderLegacyNoteHtml(html, 1 << 20, &title, &content));
  EXPECT_GT(content.size(), html.size());
  EXPECT_TRUE(RenderLegacyNoteHtml(html, content.size(), &title, &content));
  EXPECT_FALSE(RenderLegacyNoteHtml(html, content.size() - 1, &title, &content));
}

}  // namespace
