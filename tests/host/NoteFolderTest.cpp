// A notes export written into a folder as a person gets it: Markdown files with their
// attachments beside them, web pages opened in a real browser, notes.json; files placed,
// linked, dated and kept inside the folder whatever the records say.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "NoteFolder.h"
#include "NoteLinks.h"
#include "TempFolder.h"
#include "veldrake/BackupNotes.h"

namespace host {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

// A 2x2 PNG, made here so the browser has a real picture to decode.
std::string Png();

// What each attachment's copy gives: its bytes, or a failure of the backup.
const std::map<std::string, std::string> kFiles = {
    {"photo.png", Png()}, {"../../escape.pdf", "%PDF-1.4 x"}, {"plan.png", Png()}};
constexpr int64_t kModified[] = {1700000000, 1600000000, 1710000000, 1500000000};

NoteAttachmentRecord Attachment(const char* id, int kind, const char* fileName) {
  NoteAttachmentRecord a;
  a.id = id;
  a.kind = kind;
  a.type = kind == kVeldrakeAttachmentImage ? "public.png" : "public.data";
  a.fileName = fileName;
  return a;
}

NoteRecord Note(const char* id, const char* title, std::vector<std::string> folder,
                int64_t modified, const std::string& body) {
  NoteRecord n;
  n.id = std::string(id);
  n.title = title;
  n.folderPath = std::move(folder);
  n.account = std::string("iCloud");
  n.created = modified - 100;
  n.modified = modified;
  n.text = std::string(title) + "\nfirst line of " + title;
  n.markdown = "# " + std::string(title) + "\n\n" + body;
  n.html = "<h1>" + std::string(title) + "</h1>\n" + body;
  return n;
}

// Four notes: two "Plan" in one folder (an image each, a hostile file name, a file the
// backup lacks, a URL card, a table), one elsewhere linking back, one from the sync route.
std::vector<NoteRecord> Notes() {
  NoteRecord plan =
      Note("N1", "Plan", {"Work", "Projects"}, kModified[0],
           "<p><b>bold</b></p><p><img src=\"veldrake-attachment:A1\" alt=\"x\"></p>"
           "<p><a href=\"veldrake-note:N2\">Other</a> <a href=\"veldrake-attachment:"
           "A2\">doc</a> <a href=\"veldrake-attachment:A3\">lost</a></p>"
           "<table><tr><td>a</td><td>b</td></tr><tr><td>1</td><td></td></tr></table>");
  plan.markdown =
      "# Plan\n\n![x](veldrake-attachment:A1)\n\n[Other](veldrake-note:N2) "
      "[doc](veldrake-attachment:A2) [lost](veldrake-attachment:A3)\n";
  plan.pinned = true;
  plan.tags = {"plan"};
  plan.attachments = {Attachment("A1", kVeldrakeAttachmentImage, "photo.png"),
                      Attachment("A2", kVeldrakeAttachmentFile, "../../escape.pdf"),
                      Attachment("A3", kVeldrakeAttachmentFile, "lost.m4a"),
                      Attachment("A4", kVeldrakeAttachmentUrl, "")};
  plan.tables = {{"T1", 2, 2, {"a", "b", "1", ""}}};
  NoteRecord other = Note("N2", "Other", {"Personal"}, kModified[1],
                          "<p><a href=\"veldrake-note:N1\">back</a></p>");
  other.markdown = "[back](veldrake-note:N1)\n";
  NoteRecord again = Note("N3", "Plan", {"Work", "Projects"}, kModified[2],
                          "<p><img src=\"veldrake-attachment:C1\"></p>");
  again.markdown = "![](veldrake-attachment:C1)\n";
  again.attachments = {Attachment("C1", kVeldrakeAttachmentImage, "plan.png")};
  host::Note sync;
  sync.subject = "Loose";
  sync.content = "text & <b>";
  sync.dateModified = kModified[3] - 978307200;
  return {plan, other, again, FromSyncNote(std::move(sync))};
}

struct Export {
  TempFolder temp;
  std::string root;
  std::vector<std::string> warnings;
  Budget budget{ExportLimits{}};
};

void Write(Format format, Export* out) {
  out->root = out->temp.path() + "/out";
  OutputFolder folder;
  std::string error;
  ASSERT_TRUE(folder.Open(out->root + "/", &error)) << error;
  NoteFolder notes(&folder, format, &out->budget,
                   [out](const std::string& line) { out->warnings.push_back(line); });
  ASSERT_TRUE(notes.Open(&error)) << error;
  for (NoteRecord& note : Notes()) {
    const NoteRecord lent = note;
    const AttachmentCopier copy = [lent](size_t index, int fd, std::string* why) {
      const auto found = kFiles.find(lent.attachments[index].fileName);
      if (found == kFiles.end()) {
        *why = "not in the backup";
        return static_cast<int>(kVeldrakeBackupStoreMissing);
      }
      return ::write(fd, found->second.data(), found->second.size()) ==
                     static_cast<ssize_t>(found->second.size())
                 ? 0
                 : static_cast<int>(kVeldrakeBackupStoreUnreadable);
    };
    ASSERT_TRUE(notes.Add(std::move(note), lent.id == std::nullopt ? nullptr : copy, &error))
        << error;
  }
  ASSERT_TRUE(notes.Finish(&error)) << error;
}

std::string Read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::set<std::string> FilesUnder(const std::string& root) {
  std::set<std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(root))
    if (!entry.is_directory()) files.insert(fs::relative(entry.path(), root).generic_string());
  return files;
}

int64_t ModifiedTime(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_mtime) : -1;
}

TEST(NoteFolder, MarkdownNotesSitInTheirFoldersWithTheirFilesBesideThemAndEveryLinkLands) {
  Export e;
  Write(Format::kMarkdown, &e);
  const std::set<std::string> files = FilesUnder(e.root);
  for (const char* expected :
       {"iCloud/Work/Projects/Plan.md", "iCloud/Work/Projects/Plan.assets/photo.png",
        "iCloud/Work/Projects/Plan 2.md", "iCloud/Work/Projects/Plan 2.assets/plan.png",
        "iCloud/Personal/Other.md", "Loose.md"})
    EXPECT_EQ(files.count(expected), 1u) << expected;
  // The hostile name stays in the note's own folder; the missing file is told, not made.
  EXPECT_EQ(files.size(), 7u);
  EXPECT_EQ(fs::directory_iterator(e.temp.path())->path(), fs::path(e.root));
  ASSERT_EQ(e.warnings.size(), 1u);
  EXPECT_NE(e.warnings[0].find("lost.m4a"), std::string::npos);
  // Every link of every page lands on a file of the export.
  const std::regex link(R"(\]\(([^)#][^)]*)\))");
  size_t links = 0;
  for (const std::string& file : files) {
    EXPECT_EQ(ModifiedTime(e.root + "/" + file),
              file.rfind("Loose", 0) == 0                ? kModified[3]
              : file.find("Plan 2") != std::string::npos ? kModified[2]
              : file.find("Plan") != std::string::npos   ? kModified[0]
                                                         : kModified[1])
        << file;
    if (file.size() < 3 || file.compare(file.size() - 3, 3, ".md") != 0) continue;
    const std::string page = Read(e.root + "/" + file);
    for (std::sregex_iterator m(page.begin(), page.end(), link), end; m != end; ++m, ++links) {
      std::string target = (*m)[1];
      for (size_t at; (at = target.find("%20")) != std::string::npos;) target.replace(at, 3, " ");
      EXPECT_TRUE(fs::is_regular_file(fs::path(e.root + "/" + file).parent_path() / target))
          << file << " -> " << target;
    }
  }
  EXPECT_EQ(links, 5u);  // photo, Other, doc; plan.png; back
  const std::string plan = Read(e.root + "/iCloud/Work/Projects/Plan.md");
  EXPECT_EQ(plan.rfind("---\ntitle: \"Plan\"\ncreated: 2023-11-14T22:11:40Z\n", 0), 0u) << plan;
  EXPECT_NE(plan.find("\npinned: true\nid: \"N1\"\ntags: [\"plan\"]\n---\n\n# Plan\n"),
            std::string::npos);
  EXPECT_NE(plan.find("[Other](../../Personal/Other.md) [doc]("), std::string::npos);
  EXPECT_NE(plan.find("[lost](#)"), std::string::npos);
}

TEST(NoteFolder, JsonGivesEachWrittenAttachmentItsPathAndEachTableItsRows) {
  Export e;
  Write(Format::kNotesJson, &e);
  const Json notes = Json::parse(Read(e.root + "/notes.json"));
  ASSERT_EQ(notes.size(), 4u);
  const Json& plan = notes[0];
  EXPECT_EQ(plan["folder"], "Work/Projects");
  EXPECT_EQ(plan["account"], "iCloud");
  EXPECT_EQ(plan["pinned"], true);
  EXPECT_EQ(plan["tables"], Json::parse(R"([[["a","b"],["1",""]]])"));
  std::vector<std::string> kinds;
  for (const Json& a : plan["attachments"]) {
    kinds.push_back(a["kind"]);
    EXPECT_EQ(a.contains("path"), a["kind"] == "image" || a["fileName"] == "../../escape.pdf") << a;
    if (a.contains("path")) {
      EXPECT_TRUE(fs::is_regular_file(e.root + "/" + a["path"].get<std::string>())) << a;
    }
  }
  EXPECT_EQ(kinds, (std::vector<std::string>{"image", "file", "file", "url"}));
  EXPECT_EQ(notes[3]["id"], nullptr);
  EXPECT_EQ(notes[3]["modified"], "2017-07-14T02:40:00Z");
}

TEST(NoteFolder, AttachmentNamesFromABackupNeverLeaveTheNotesFolderNorReplaceEachOther) {
  const std::vector<std::string> names = {"..",
                                          "../x.png",
                                          "/etc/passwd",
                                          "a/b.png",
                                          "photo.png",
                                          "PHOTO.png",
                                          std::string(300, 'e') + ".png",
                                          ".hidden",
                                          "tab\tname.png"};
  NoteRecord note = Note("H", "../Hostile", {"..", "/"}, kModified[0], "");
  for (const std::string& name : names)
    note.attachments.push_back(Attachment("X", kVeldrakeAttachmentFile, name.c_str()));
  Export e;
  e.root = e.temp.path() + "/out";
  OutputFolder folder;
  std::string error;
  ASSERT_TRUE(folder.Open(e.root + "/", &error)) << error;
  NoteFolder notes(&folder, Format::kMarkdown, &e.budget, [](const std::string&) {});
  ASSERT_TRUE(notes.Open(&error)) << error;
  const AttachmentCopier copy = [](size_t index, int fd, std::string*) {
    const std::string content = std::to_string(index);
    return ::write(fd, content.data(), content.size()) == 1 ? 0 : -1;
  };
  ASSERT_TRUE(notes.Add(std::move(note), copy, &error)) << error;
  ASSERT_TRUE(notes.Finish(&error)) << error;
  std::set<std::string> contents;
  for (const std::string& file : FilesUnder(e.root)) {
    EXPECT_EQ(file.find("../"), std::string::npos) << file;
    if (file.size() > 3 && file.compare(file.size() - 3, 3, ".md") == 0) continue;
    EXPECT_EQ(fs::path(file).parent_path().filename().string().find(".assets"),
              fs::path(file).parent_path().filename().string().size() - 7)
        << file;
    EXPECT_LE(fs::path(file).filename().string().size(), 255u);
    contents.insert(Read(e.root + "/" + file));
  }
  EXPECT_EQ(contents.size(), names.size());  // every one written, none replaced
  EXPECT_EQ(fs::directory_iterator(e.temp.path())->path(), fs::path(e.root));
}

// browser_check.py's report of every page of the folder.
Json Browse(const std::string& folder) {
  const std::string command =
      "python3 '" VELDRAKE_SOURCE_DIR_DEFAULT "/tests/host/browser_check.py' '" + folder + "'";
  FILE* pipe = ::popen(command.c_str(), "r");
  std::string out;
  char buffer[4096];
  for (size_t n; pipe != nullptr && (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    out.append(buffer, n);
  const int status = pipe != nullptr ? ::pclose(pipe) : -1;
  EXPECT_EQ(status, 0) << out;
  return Json::parse(out, nullptr, false);
}

TEST(NoteFolder, WebPagesOpenOfflineInABrowserWithTheirPicturesAndTables) {
  Export e;
  Write(Format::kNoteHtml, &e);
  const Json report = Browse(e.root);
  ASSERT_TRUE(report.is_object()) << report;
  EXPECT_EQ(report.size(), 5u);  // four notes and the index
  size_t images = 0;
  for (const auto& page : report.items()) {
    const Json& shown = page.value();
    EXPECT_EQ(shown["ready"], "complete") << page.key();
    EXPECT_EQ(shown["scripts"], 0) << page.key();
    for (const Json& url : shown["requests"])
      EXPECT_EQ(url.get<std::string>().rfind("file://" + PercentEncodePath(e.root) + "/", 0), 0u)
          << url;
    for (const Json& image : shown["images"]) {
      EXPECT_TRUE(image["decoded"] && image["shown"]) << page.key() << image;
      ++images;
    }
  }
  EXPECT_EQ(images, 2u);
  const Json& plan = report["iCloud/Work/Projects/Plan.html"];
  ASSERT_EQ(plan["tables"].size(), 1u);
  std::vector<std::string> cells;
  for (const Json& row : plan["tables"][0])
    for (const Json& cell : row) {
      cells.push_back(cell["text"]);
      EXPECT_TRUE(cell["shown"].get<bool>());
    }
  EXPECT_EQ(cells, (std::vector<std::string>{"a", "b", "1", ""}));
  EXPECT_EQ(plan["links"], Json::parse(R"(["../../../index.html", "../../Personal/Other.html",
                                           "Plan.assets/_.._escape.pdf", "#"])"));
  // The index: folders by name, each newest first, every page once.
  EXPECT_EQ(report["index.html"]["links"],
            Json::parse(R"(["Loose.html", "iCloud/Personal/Other.html",
                            "iCloud/Work/Projects/Plan%202.html", "iCloud/Work/Projects/Plan.html"])"));
  EXPECT_NE(report["index.html"]["text"].get<std::string>().find("first line of Plan"),
            std::string::npos);
}

std::string Png() {
  // Signature, IHDR (2x2, 8-bit RGB), IDAT (zlib of two filtered rows), IEND; CRCs included.
  static const unsigned char kBytes[] = {
      0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48, 0x44,
      0x52, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x02, 0x08, 0x02, 0x00, 0x00, 0x00, 0xFD,
      0xD4, 0x9A, 0x73, 0x00, 0x00, 0x00, 0x11, 0x49, 0x44, 0x41, 0x54, 0x78, 0x9C, 0x63, 0xF8,
      0xCF, 0xC0, 0x00, 0x44, 0x60, 0xE2, 0x3F, 0x03, 0x00, 0x1D, 0xF0, 0x03, 0xFD, 0xA0, 0x33,
      0x09, 0x89, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};
  return std::string(reinterpret_cast<const char*>(kBytes), sizeof kBytes);
}

}  // namespace
}  // namespace host
