// The type identifiers the Notes app writes for attachments, as public write-ups list them.
#include "NoteKinds.h"

namespace veldrake::backup {
namespace {

struct Known {
  const char* type;
  TypeClass kind;
};

constexpr Known kKnown[] = {
    {"public.jpeg", TypeClass::kImage},
    {"public.png", TypeClass::kImage},
    {"public.heic", TypeClass::kImage},
    {"public.heif", TypeClass::kImage},
    {"com.compuserve.gif", TypeClass::kImage},
    {"public.tiff", TypeClass::kImage},
    {"com.adobe.pdf", TypeClass::kFile},
    {"public.vcard", TypeClass::kFile},
    {"public.mp3", TypeClass::kFile},
    {"com.apple.m4a-audio", TypeClass::kFile},
    {"public.mpeg-4-audio", TypeClass::kFile},
    {"com.apple.quicktime-movie", TypeClass::kFile},
    {"public.mpeg-4", TypeClass::kFile},
    {"com.apple.ical.ics", TypeClass::kFile},
    {"public.calendar-event", TypeClass::kFile},
    {"public.plain-text", TypeClass::kFile},
    {"public.rtf", TypeClass::kFile},
    {"public.zip-archive", TypeClass::kFile},
    {"com.apple.drawing.2", TypeClass::kDrawing},
    {"com.apple.drawing", TypeClass::kDrawing},
    {"com.apple.notes.sketch", TypeClass::kDrawing},
    {"com.apple.paper.doc.scan", TypeClass::kScan},
    {"com.apple.notes.gallery", TypeClass::kScan},
    {"public.url", TypeClass::kUrl},
    {"com.apple.notes.table", TypeClass::kTable},
    {"com.apple.notes.inlinetextattachment.hashtag", TypeClass::kHashtag},
    {"com.apple.notes.inlinetextattachment.link", TypeClass::kNoteLink},
};

const char kInlinePrefix[] = "com.apple.notes.inlinetextattachment.";

}  // namespace

TypeClass ClassOf(const std::string& type) {
  for (const Known& known : kKnown)
    if (type == known.type) return known.kind;
  if (type.compare(0, sizeof kInlinePrefix - 1, kInlinePrefix) == 0) return TypeClass::kInline;
  return TypeClass::kUnknown;
}

const char* FallbackFolder(TypeClass kind) {
  return kind == TypeClass::kDrawing ? "FallbackImages/" : "FallbackPDFs/";
}

const char* FallbackExtension(TypeClass kind) {
  return kind == TypeClass::kDrawing ? ".jpg" : ".pdf";
}

}  // namespace veldrake::backup
