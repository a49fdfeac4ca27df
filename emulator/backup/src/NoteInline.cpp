// Inline markup: styles, links, colours and the objects that sit inside a line.
#include <cctype>
#include <cstdlib>

#include "NoteMarkup.h"

namespace devicesim::backup {
namespace {

const int kBold = 1, kItalic = 2;
const float kByte = 255.0f;

struct Cursor {
  const std::string& s;
  size_t i = 0;
  bool At(const char* token) const {
    return s.compare(i, std::char_traits<char>::length(token), token) == 0;
  }
};

// The type a phone gives a file it stores, by the file's extension.
std::string UtiOf(const std::string& file) {
  static const struct {
    const char* ext;
    const char* uti;
  } kTypes[] = {
      {"jpg", "public.jpeg"},         {"jpeg", "public.jpeg"},
      {"png", "public.png"},          {"heic", "public.heic"},
      {"gif", "com.compuserve.gif"},  {"pdf", "com.adobe.pdf"},
      {"vcf", "public.vcard"},        {"mp3", "public.mp3"},
      {"m4a", "com.apple.m4a-audio"}, {"mov", "com.apple.quicktime-movie"},
      {"mp4", "public.mpeg-4"},       {"ics", "com.apple.ical.ics"},
      {"txt", "public.plain-text"},
  };
  const size_t dot = file.rfind('.');
  std::string ext = dot == std::string::npos ? std::string() : file.substr(dot + 1);
  for (char& ch : ext) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  for (const auto& type : kTypes)
    if (ext == type.ext) return type.uti;
  return "public.data";
}

class InlineParser {
 public:
  InlineParser(const std::string& line, const NoteFeatures& features,
               std::vector<NoteObject>* objects)
      : c_{line}, features_(features), objects_(objects) {}
  std::vector<Span> Run();

 private:
  bool Toggle();
  bool Bracketed();
  bool Object();
  bool Hashtag();
  bool Color();
  void Emit(const std::string& text);
  void EmitObject(NoteObject object, const std::string& plain);
  std::string Until(const char* end);

  Cursor c_;
  const NoteFeatures& features_;
  std::vector<NoteObject>* objects_;
  Span style_;
  std::vector<Span> out_;
};

void InlineParser::Emit(const std::string& text) {
  if (!out_.empty() && out_.back().object < 0 && out_.back().weight == style_.weight &&
      out_.back().underline == style_.underline && out_.back().strike == style_.strike &&
      out_.back().script == style_.script && out_.back().link == style_.link &&
      out_.back().colored == style_.colored && out_.back().rgb[0] == style_.rgb[0] &&
      out_.back().rgb[1] == style_.rgb[1] && out_.back().rgb[2] == style_.rgb[2]) {
    out_.back().text += text;
    return;
  }
  Span span = style_;
  span.text = text;
  out_.push_back(span);
}

void InlineParser::EmitObject(NoteObject object, const std::string& plain) {
  if (!objects_) return Emit(plain);
  Span span;
  span.text = kObjectChar;
  span.object = static_cast<int>(objects_->size());
  objects_->push_back(std::move(object));
  out_.push_back(span);
}

// Text up to `end` (not included), the cursor left past it; empty and unmoved when absent.
std::string InlineParser::Until(const char* end) {
  const size_t stop = c_.s.find(end, c_.i);
  if (stop == std::string::npos) return std::string();
  std::string text = c_.s.substr(c_.i, stop - c_.i);
  c_.i = stop + std::char_traits<char>::length(end);
  return text;
}

bool InlineParser::Toggle() {
  struct Mark {
    const char* token;
    void (*flip)(Span&);
  };
  static const Mark kMarks[] = {
      {"**", [](Span& s) { s.weight ^= kBold; }},
      {"__", [](Span& s) { s.underline = !s.underline; }},
      {"~~", [](Span& s) { s.strike = !s.strike; }},
      {"*", [](Span& s) { s.weight ^= kItalic; }},
      {"^", [](Span& s) { s.script = s.script == 1 ? 0 : 1; }},
      {"~", [](Span& s) { s.script = s.script == -1 ? 0 : -1; }},
  };
  for (const Mark& mark : kMarks) {
    if (!c_.At(mark.token)) continue;
    mark.flip(style_);
    c_.i += std::char_traits<char>::length(mark.token);
    return true;
  }
  return false;
}

// {#RRGGBB}text{/}
bool InlineParser::Color() {
  if (c_.At("{/}")) {
    style_.colored = false;
    c_.i += 3;
    return true;
  }
  if (!c_.At("{#") || c_.s.size() < c_.i + 9 || c_.s[c_.i + 8] != '}') return false;
  for (size_t k = 2; k < 8; ++k)
    if (!std::isxdigit(static_cast<unsigned char>(c_.s[c_.i + k]))) return false;
  const long value = std::strtol(c_.s.substr(c_.i + 2, 6).c_str(), nullptr, 16);
  for (int k = 0; k < 3; ++k)
    style_.rgb[k] = static_cast<float>((value >> (16 - 8 * k)) & 0xFF) / kByte;
  style_.colored = true;
  c_.i += 9;
  return true;
}

// #tag after a space or at the start of the line.
bool InlineParser::Hashtag() {
  if (!c_.At("#") || (c_.i > 0 && c_.s[c_.i - 1] != ' ')) return false;
  size_t end = c_.i + 1;
  while (end < c_.s.size() &&
         (std::isalnum(static_cast<unsigned char>(c_.s[end])) || c_.s[end] == '_' ||
          c_.s[end] == '-' || (static_cast<unsigned char>(c_.s[end]) & 0x80)))
    ++end;
  if (end == c_.i + 1) return false;
  NoteObject tag;
  tag.kind = ObjectKind::kHashtag;
  tag.uti = "com.apple.notes.inlinetextattachment.hashtag";
  tag.alt = c_.s.substr(c_.i, end - c_.i);
  c_.i = end;
  if (!features_.inlineObjects) {
    Emit(tag.alt);
    return true;
  }
  EmitObject(tag, tag.alt);
  return true;
}

// ![](file), ![drawing](file), ![scan](file), ![card:Title](url)
bool InlineParser::Object() {
  if (!c_.At("![")) return false;
  const size_t start = c_.i;
  c_.i += 2;
  const std::string kind = Until("](");
  const std::string target = c_.i > start + 2 ? Until(")") : std::string();
  if (target.empty()) {
    c_.i = start;
    return false;
  }
  NoteObject object;
  if (kind == "drawing") {
    object.kind = ObjectKind::kDrawing;
    object.uti = "com.apple.drawing.2";
    object.file = target;
  } else if (kind == "scan") {
    object.kind = ObjectKind::kScan;
    object.uti = "com.apple.paper.doc.scan";
    object.file = target;
  } else if (kind.compare(0, 5, "card:") == 0) {
    object.kind = ObjectKind::kUrl;
    object.uti = "public.url";
    object.title = kind.substr(5);
    object.url = target;
  } else {
    object.uti = UtiOf(target);
    object.file = target;
  }
  EmitObject(object, target);
  return true;
}

// @[Name], [[Note title]], [text](url)
bool InlineParser::Bracketed() {
  const size_t start = c_.i;
  NoteObject object;
  if (c_.At("@[")) {
    c_.i += 2;
    object.kind = ObjectKind::kMention;
    object.uti = "com.apple.notes.inlinetextattachment.mention";
    object.alt = "@" + Until("]");
  } else if (c_.At("[[")) {
    c_.i += 2;
    object.kind = ObjectKind::kNoteLink;
    object.uti = "com.apple.notes.inlinetextattachment.link";
    object.title = object.alt = Until("]]");
  } else if (c_.At("[")) {
    ++c_.i;
    const std::string text = Until("](");
    const std::string url = c_.i > start + 1 ? Until(")") : std::string();
    if (text.empty() || url.empty()) {
      c_.i = start;
      return false;
    }
    for (const Span& span : ParseInline(text, features_, nullptr)) {
      Span linked = span;
      linked.link = url;
      linked.weight |= style_.weight;
      linked.underline = linked.underline || style_.underline;
      linked.strike = linked.strike || style_.strike;
      out_.push_back(linked);
    }
    return true;
  } else {
    return false;
  }
  if (object.alt.size() <= 1) {
    c_.i = start;
    return false;
  }
  const bool kept =
      object.kind == ObjectKind::kNoteLink ? features_.noteLinks : features_.inlineObjects;
  if (kept)
    EmitObject(object, object.alt);
  else
    Emit(object.alt);
  return true;
}

std::vector<Span> InlineParser::Run() {
  while (c_.i < c_.s.size()) {
    if (c_.At("\\") && c_.i + 1 < c_.s.size()) {
      Emit(c_.s.substr(c_.i + 1, 1));
      c_.i += 2;
    } else if (!(Object() || Bracketed() || Hashtag() || Color() || Toggle())) {
      Emit(c_.s.substr(c_.i, 1));
      ++c_.i;
    }
  }
  return out_;
}

}  // namespace

std::vector<Span> ParseInline(const std::string& line, const NoteFeatures& features,
                              std::vector<NoteObject>* objects) {
  return InlineParser(line, features, objects).Run();
}

}  // namespace devicesim::backup
