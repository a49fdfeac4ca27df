// NoteProto: reads the protocol-buffer body of a modern note (already inflated) into the
// text and the attribute runs that give it structure and look. A table cell is the same
// text-with-runs message, read by ParseNoteString.
//
// The bytes come from a backup and are untrusted (ProtoReader.h): the reader only descends
// into the few messages it knows (at most six deep), skipping everything else flat, so no
// input can make it read out of bounds, recurse or loop. One thread; keeps nothing.
#ifndef VELDRAKE_BACKUP_NOTEPROTO_H_
#define VELDRAKE_BACKUP_NOTEPROTO_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace veldrake::backup {

// The paragraph kinds a run may carry (ParagraphStyle.style_type).
enum NoteParagraph : int32_t {
  kParagraphBody = -1,  // no paragraph style
  kParagraphTitle = 0,
  kParagraphHeading = 1,
  kParagraphSubheading = 2,
  kParagraphMonospaced = 4,
  kParagraphDotted = 100,
  kParagraphDashed = 101,
  kParagraphNumbered = 102,
  kParagraphChecklist = 103,
};

// Inline looks of a run (bits of NoteRun::look).
enum NoteLook : uint8_t {
  kLookBold = 1,
  kLookItalic = 2,
  kLookUnderline = 4,
  kLookStrike = 8,
  kLookSuperscript = 16,
  kLookSubscript = 32,
};

// A run's colour: kColorSet | 0xRRGGBB, or 0 for the default.
constexpr uint32_t kColorSet = 1u << 24;

// One attribute run: `length` UTF-16 code units of the text and how they look. Kept
// small, since a hostile body may hold a run every few bytes.
struct NoteRun {
  uint64_t length = 0;
  int32_t paragraph = kParagraphBody;
  int32_t indent = 0;
  uint32_t link = 0;            // the link's index in NoteBody::strings; 0: not a link
  uint32_t attachmentType = 0;  // the attachment's type identifier, the same way
  uint32_t attachmentId = 0;    // the attachment's identifier, the same way
  uint32_t color = 0;           // kColorSet | RGB, or 0
  uint8_t look = 0;             // NoteLook bits
  bool checklist = false;       // the paragraph is a checklist item
  bool done = false;            // ... and it is ticked
  bool attachment = false;      // the run is an attachment's U+FFFC
  bool quote = false;           // the paragraph is a block quote
};

// Runs past this many are ignored (their text stays, its look is dropped): far more than
// any note a person writes, and it bounds what a crafted body can make us hold.
constexpr size_t kMaxNoteRuns = size_t{1} << 20;

struct NoteBody {
  std::string text;           // UTF-8 as stored (not validated here)
  std::vector<NoteRun> runs;  // runs of length 0 are left out
  // The links' and types' texts; [0] is the empty "none", and a run repeating its
  // predecessor's text shares its entry.
  std::vector<std::string> strings{std::string()};
};

// Fills `body` from the NoteStoreProto message in `data`; false when the bytes are not a
// well-formed message or hold no note (then `body` is unspecified).
bool ParseNoteBody(const uint8_t* data, size_t size, NoteBody* body);

// Fills `body` from one text-with-runs message (a note's, or a table cell's).
bool ParseNoteString(const uint8_t* data, size_t size, NoteBody* body);

}  // namespace veldrake::backup

#endif  // VELDRAKE_BACKUP_NOTEPROTO_H_
