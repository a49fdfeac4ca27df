// The host's notes texts: plain text made Markdown and read back by cmark-gfm, links
// resolved against std::filesystem's own relative paths.
#include <cmark-gfm-extension_api.h>
#include <cmark-gfm.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "Dates.h"
#include "GfmDocument.h"
#include "NoteLinks.h"
#include "NoteRecord.h"
#include "NoteText.h"
#include "veldrake/BackupNotes.h"

namespace host {
namespace {

namespace fs = std::filesystem;

// What a writer that streams writes.
template <typename Write>
std::string Written(Write write) {
  std::ostringstream out;
  write(out);
  return out.str();
}

// What cmark-gfm, with GitHub's extensions, shows of a Markdown text as plain text (autolinks
// left out: a bare URL that becomes a link still reads the same).
std::string ShownText(const std::string& markdown) {
  const GfmDocument parsed(markdown);
  cmark_node* document = parsed.root();
  std::string shown;
  bool plain = true;  // only paragraphs and text: no markup took effect
  cmark_iter* iter = cmark_iter_new(document);
  for (cmark_event_type e; (e = cmark_iter_next(iter)) != CMARK_EVENT_DONE;) {
    const cmark_node_type type = cmark_node_get_type(cmark_iter_get_node(iter));
    plain = plain && (type == CMARK_NODE_DOCUMENT || type == CMARK_NODE_PARAGRAPH ||
                      type == CMARK_NODE_TEXT || type == CMARK_NODE_LINEBREAK);
  }
  cmark_iter_free(iter);
  char* text = cmark_render_plaintext(document, CMARK_OPT_DEFAULT, 0);
  shown = plain ? text : "(markup) " + std::string(text);
  free(text);
  return shown;
}

TEST(NoteText, PlainTextReadsBackAsItselfThroughCommonMark) {
  const std::vector<std::string> lines = {"# not a heading",
                                          "- not a list",
                                          "1. not numbered",
                                          "12) nor this",
                                          "> no quote",
                                          "    four spaces",
                                          "\tTab",
                                          "*star* _under_ `code`",
                                          "~~strike~~",
                                          "[link](http://x)",
                                          "<b>html</b>",
                                          "&amp; entity",
                                          "| a | b |",
                                          "---",
                                          "===",
                                          "+ plus",
                                          "- [ ] task",
                                          "a\\b back\\",
                                          "![img](x.png)",
                                          "Äpfel (6) 🎨",
                                          "1986. A year",
                                          "#hashtag and #1",
                                          "x * y _ z",
                                          "a<b>c & d;"};
  std::vector<std::string> texts;
  for (size_t i = 0; i < lines.size(); ++i) {
    texts.push_back(lines[i]);
    texts.push_back(lines[i] + "\n" + lines[(i + 5) % lines.size()]);
    texts.push_back(lines[i] + "\n\n" + lines[(i + 11) % lines.size()] + "\n");
  }
  for (const std::string& text : texts) {
    std::string expected = text;
    while (!expected.empty() && expected.back() == '\n') expected.pop_back();
    const std::string markdown =
        Written([&](std::ostream& out) { PlainTextToMarkdown(out, text); });
    EXPECT_EQ(ShownText(markdown), expected + "\n") << text;
  }
}

TEST(NoteText, HtmlEscapesEveryMarkupCharacterAndKeepsLines) {
  EXPECT_EQ(Written([](std::ostream& out) { PlainTextToHtml(out, "a<b>&\"'\nc\n\n\nd"); }),
            "<p>a&lt;b&gt;&amp;&quot;&#39;<br>\nc</p>\n<p>d</p>\n");
  EXPECT_EQ(FirstLineAfterTitle("Title\n\n  Second line\nthird", "Title", 80), "Second line");
  EXPECT_EQ(FirstLineAfterTitle("Title\nÄÄÄ", "Title", 3), "Ä...");  // never half a character
}

// "%41" -> "A"
std::string PercentDecode(const std::string& text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      decoded += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

TEST(NoteLinks, RelativePathsAgreeWithTheFileSystemLibrary) {
  const std::vector<std::string> folders = {"", "a/", "a/b/", "b/", "Ä x/", "a/Ä x/c/"};
  for (const std::string& from : folders)
    for (const std::string& to : folders)
      for (const char* file : {"N.md", "N 2.md", "c.png"}) {
        const std::string source = from + "Note.md", target = to + file;
        const fs::path expected =
            fs::path(target).lexically_relative(fs::path(source).parent_path());
        EXPECT_EQ(RelativePath(source, target), expected.generic_string())
            << source << " " << target;
        const std::string encoded = PercentEncodePath(RelativePath(source, target));
        EXPECT_EQ(PercentDecode(encoded), RelativePath(source, target));
        EXPECT_EQ(encoded.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                            "0123456789-._~/%"),
                  std::string::npos);
      }
}

TEST(NoteLinks, BothSchemesResolveWhereverTheyStandAndUnknownOnesGoNowhere) {
  const LinkResolver resolve = [](LinkKind kind,
                                  const std::string& id) -> std::optional<std::string> {
    if (id == "known") return std::string(kind == LinkKind::kNote ? "note.md" : "pic.png");
    return std::nullopt;
  };
  const struct {
    const char* body;
    const char* resolved;
  } cases[] = {
      {"![](veldrake-attachment:known)", "![](pic.png)"},
      {"[n](veldrake-note:known) [m](veldrake-note:gone)", "[n](note.md) [m](#)"},
      {"<img src=\"veldrake-attachment:known\"><a href='veldrake-note:known'>",
       "<img src=\"pic.png\"><a href='note.md'>"},
      {"<veldrake-note:known>", "<note.md>"},
      {"veldrake-attachment:known", "pic.png"},
      {"veldrake-other:known veldrake- veldrake", "veldrake-other:known veldrake- veldrake"},
      {"[a](veldrake-attachment:)", "[a](#)"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Written([&](std::ostream& out) { ResolveLinks(out, c.body, resolve, "#"); }),
              c.resolved)
        << c.body;
}

TEST(NoteRecord, ABackupNoteIsCopiedWholeAndBadCountsGiveNothing) {
  const char* folders[] = {"Work", "Pro\xffjects"};
  const char* cells[] = {"a", "b", "1", ""};
  const char* tags[] = {"plan"};
  const VeldrakeNoteAttachment attachments[] = {
      {"A1", kVeldrakeAttachmentImage, "public.png", "p.png", nullptr, nullptr, 7},
      {"A2", kVeldrakeAttachmentUrl, "public.url", nullptr, "Site", "https://x", -1}};
  const VeldrakeNoteTable tables[] = {
      {"T1", 2, 2, cells}, {"T2", 3, 1, nullptr}, {"T3", -1, 5, cells}};
  VeldrakeNote note{};
  note.id = "N1";
  note.title = "Plan";
  note.folderPath = folders;
  note.folderDepth = 2;
  note.created = INT64_MIN;
  note.modified = 1700000000;
  note.pinned = 1;
  note.attachments = attachments;
  note.attachmentCount = 2;
  note.tables = tables;
  note.tableCount = 3;
  note.tags = tags;
  note.tagCount = 1;
  NoteRecord copy = CopyBackupNote(note);
  EXPECT_EQ(copy.folderPath, (std::vector<std::string>{"Work", "Pro\uFFFDjects"}));
  EXPECT_EQ(copy.id, std::optional<std::string>("N1"));
  EXPECT_TRUE(copy.pinned && !copy.account && copy.text.empty());
  ASSERT_EQ(copy.attachments.size(), 2u);
  EXPECT_EQ(copy.attachments[1].fileName, "");
  EXPECT_EQ(copy.attachments[1].url, std::optional<std::string>("https://x"));
  ASSERT_EQ(copy.tables.size(), 3u);
  EXPECT_EQ(copy.tables[0].cells, (std::vector<std::string>{"a", "b", "1", ""}));
  for (size_t i : {size_t{1}, size_t{2}})
    EXPECT_EQ(copy.tables[i].rows * copy.tables[i].columns, 0u) << i;
  EXPECT_EQ(copy.tags, (std::vector<std::string>{"plan"}));
  note.deleted = 1;
  note.folderDepth = note.attachmentCount = note.tableCount = note.tagCount = INT_MIN;
  copy = CopyBackupNote(note);
  EXPECT_EQ(copy.folderPath, (std::vector<std::string>{"Recently Deleted"}));
  EXPECT_TRUE(copy.attachments.empty() && copy.tables.empty() && copy.tags.empty());
}

TEST(NoteRecord, SyncDatesGoToUnixTimeAndBackWithTheSameIsoText) {
  for (int64_t device : {int64_t{-1}, int64_t{0}, int64_t{-2}, int64_t{1}, int64_t{722000000},
                         int64_t{-978307200}, INT64_MAX - 978307200, INT64_MIN + 1}) {
    Note sync;
    sync.dateModified = device;
    const NoteRecord record = FromSyncNote(std::move(sync));
    EXPECT_EQ(SyncHeader(record).dateModified, device) << device;
    EXPECT_EQ(NoteTimeToIso(record.modified), NoteDateToIso(device)) << device;
  }
  EXPECT_EQ(NoteTimeToIso(978307199), "2000-12-31T23:59:59Z");  // the sync route's -1 second
  EXPECT_FALSE(NoteTimeToIso(kNoNoteDate));
}

}  // namespace
}  // namespace host
