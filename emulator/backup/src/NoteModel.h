// NoteModel: a note as the Notes app holds it before storing it: paragraphs with their
// style, runs of text with inline attributes, and the objects (attachments and inline
// objects) that stand in the text as U+FFFC.
//
// Thread contract: plain values.
#ifndef DEVICESIM_BACKUP_NOTEMODEL_H_
#define DEVICESIM_BACKUP_NOTEMODEL_H_

#include <string>
#include <vector>

namespace devicesim::backup {

// The app's paragraph styles (ParagraphStyle.style_type); kBody is written as no style.
enum ParagraphKind : int {
  kBody = -1,
  kTitle = 0,
  kHeading = 1,
  kSubheading = 2,
  kMonospaced = 4,
  kDotted = 100,
  kDashed = 101,
  kNumbered = 102,
  kChecklist = 103,
};

const char kObjectChar[] = "\xEF\xBF\xBC";  // U+FFFC, where an object stands in the text

struct Span {
  std::string text;
  int weight = 0;  // 1 bold, 2 italic, 3 both
  bool underline = false, strike = false;
  int script = 0;  // 1 superscript, -1 subscript
  std::string link;
  bool colored = false;
  float rgb[3] = {0, 0, 0};
  int object = -1;  // index into NoteDoc::objects; the text is then kObjectChar
};

inline Span TextSpan(const std::string& text) {
  Span span;
  span.text = text;
  return span;
}

struct Paragraph {
  int style = kBody;
  int indent = 0;
  bool quote = false;
  int check = -1;  // checklist: 0 open, 1 done
  std::vector<Span> spans;
};

enum class ObjectKind { kMedia, kDrawing, kScan, kUrl, kTable, kHashtag, kMention, kNoteLink };

struct NoteObject {
  ObjectKind kind = ObjectKind::kMedia;
  std::string uti;
  std::string file;   // media, drawing, scan: the file's path, relative to the note's folder
  std::string title;  // URL card's title; a linked note's title
  std::string url;
  std::string alt;  // hashtag, mention, note link: the text the note shows
  std::vector<std::vector<std::vector<Span>>> rows;  // table: rows of cells of runs
  bool rightToLeft = false;
};

struct NoteDoc {
  std::vector<Paragraph> paragraphs;
  std::vector<NoteObject> objects;
};

// What a phone of one OS generation can hold; older phones keep the newer objects as
// their plain text.
struct NoteFeatures {
  bool inlineObjects = false;  // hashtags and mentions (iOS 15)
  bool noteLinks = false;      // links to other notes (iOS 17)
  bool blockQuotes = false;    // (iOS 17)
};
NoteFeatures FeaturesFor(int major);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTEMODEL_H_
