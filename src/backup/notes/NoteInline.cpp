// Inline rendering: spans grouped by link, then by look, wrapped in the format's markers.
#include "NoteInline.h"

#include <cstdio>

#include "NoteText.h"

namespace veldrake::backup {
namespace {

struct Marker {
  uint8_t look;
  const char* markdown;  // "" when Markdown has none (HTML tags then)
  const char* tag;
};
// Outermost first.
constexpr Marker kMarkers[] = {
    {kLookStrike, "~~", "s"},  {kLookBold, "**", "b"},        {kLookItalic, "*", "i"},
    {kLookUnderline, "", "u"}, {kLookSuperscript, "", "sup"}, {kLookSubscript, "", "sub"},
};

bool IsAsciiAlnum(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// `text` (already escaped as `raw` needs) wrapped in the markers of `look`. Emphasis
// markers only where CommonMark surely reads them as such, between letters or digits at
// both ends; otherwise the HTML tags, which always work.
std::string WrapLook(const std::string& raw, std::string text, uint8_t look, bool html) {
  const size_t first = raw.find_first_not_of(" \t"), last = raw.find_last_not_of(" \t");
  if (look == 0 || first == std::string::npos) return text;
  const bool markers = !html && IsAsciiAlnum(raw[first]) && IsAsciiAlnum(raw[last]);
  const size_t lead = text.find_first_not_of(" \t"), tail = text.find_last_not_of(" \t");
  std::string open, close;
  for (const Marker& m : kMarkers) {
    if ((look & m.look) == 0) continue;
    const bool useMarker = markers && *m.markdown != '\0';
    open += useMarker ? std::string(m.markdown) : "<" + std::string(m.tag) + ">";
    close.insert(0, useMarker ? std::string(m.markdown) : "</" + std::string(m.tag) + ">");
  }
  return text.substr(0, lead) + open + text.substr(lead, tail + 1 - lead) + close +
         text.substr(tail + 1);
}

std::string ObjectText(const ShownObject* shown, const std::string& type, NoteFormat format,
                       bool inCell);

std::string Escaped(const std::string& text, NoteFormat format, bool inCell) {
  if (format == NoteFormat::kHtml) return EscapeHtml(text);
  if (format == NoteFormat::kMarkdown) return EscapeMarkdown(text, inCell);
  if (!inCell) return text;
  std::string out;
  for (char c : text) out += c == '|' ? std::string("\\|") : std::string(1, c);
  return out;
}

std::string HtmlSpan(const NoteSpan& span, const std::string& text) {
  std::string out = WrapLook(span.text, text, span.look, true);
  if (span.color == 0 || out.empty()) return out;
  char style[40];
  std::snprintf(style, sizeof style, "<span style=\"color:#%06x\">", span.color & 0xFFFFFFu);
  return style + out + "</span>";
}

// The link target in `format`; "" when there is no safe one.
std::string Target(const std::string& url, NoteFormat format) {
  if (SafeHref(url).empty()) return "";
  if (format == NoteFormat::kHtml) return EscapeHtml(SafeHref(url));
  return format == NoteFormat::kMarkdown ? MarkdownTarget(url) : LinkTarget(url);
}

std::string Linked(const std::string& inner, const std::string& url, NoteFormat format) {
  const std::string target = Target(url, format);
  if (inner.empty() || target.empty()) return inner;
  if (format == NoteFormat::kHtml) return "<a href=\"" + target + "\">" + inner + "</a>";
  return "[" + inner + "](" + target + ")";
}

}  // namespace

std::string EscapeHtml(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string SafeHref(const std::string& url) {
  std::string clean;
  // Browsers drop leading spaces and controls before reading the scheme: so do we.
  const size_t start = url.find_first_not_of(std::string(" \t\n\r\f\v\0", 7));
  for (char c : url.substr(start == std::string::npos ? url.size() : start)) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) continue;
    clean += c == ' ' ? std::string("%20") : std::string(1, c);
  }
  const size_t colon = clean.find(':');
  if (colon == std::string::npos) return clean;
  std::string scheme;
  for (size_t i = 0; i < colon; ++i) {
    const char c = clean[i];
    const bool part = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '+' || c == '.' || c == '-';
    if (!part) return clean;  // no scheme: a relative reference
    scheme += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  }
  for (const char* banned : {"javascript", "vbscript", "data", "file"})
    if (scheme == banned) return "";
  return clean;
}

std::string MarkdownTarget(const std::string& url) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (char ch : url) {
    const auto c = static_cast<unsigned char>(ch);
    if (c <= 0x20 || c == 0x7F || ch == '<' || ch == '>' || ch == '(' || ch == ')' || ch == '\\' ||
        ch == '`') {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    } else {
      out += ch;
    }
  }
  return out;
}

std::string EscapeMarkdown(const std::string& text, bool inCell) {
  static const std::string kSpecial = "\\`*_[]<>|~&!";  // "!" would make a link an image
  (void)inCell;  // "|" is always escaped: a line of pipes could otherwise read as a table
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (kSpecial.find(c) != std::string::npos) out += '\\';
    out += c;
  }
  return out;
}

namespace {

std::string ObjectText(const ShownObject* shown, const std::string& type, NoteFormat format,
                       bool inCell) {
  const bool html = format == NoteFormat::kHtml;
  if (shown == nullptr) {
    const std::string text =
        Escaped(type.empty() ? "[attachment]" : "[attachment: " + type + "]", format, inCell);
    return html ? "<span class=\"attachment\">" + text + "</span>" : text;
  }
  const std::string name = Escaped(shown->text, format, inCell);
  switch (shown->show) {
    case ObjectShow::kInline:
      return name;
    case ObjectShow::kTable:
      return "";
    case ObjectShow::kMissing:
      return html ? "<span class=\"missing\">[" + name + "]</span>"
                  : Escaped("[" + shown->text + "]", format, inCell);
    case ObjectShow::kImage:
      if (html)
        return "<img src=\"" + EscapeHtml(SafeHref(shown->target)) + "\" alt=\"" + name + "\">";
      if (format == NoteFormat::kMarkdown) return "!" + Linked(name, shown->target, format);
      return Escaped("[attachment: " + shown->text + "]", format, inCell);
    case ObjectShow::kFile:
      if (format == NoteFormat::kText)
        return Escaped("[attachment: " + shown->text + "]", format, inCell);
      return Linked(name, shown->target, format);
    case ObjectShow::kNoteLink:
      return format == NoteFormat::kText ? name : Linked(name, shown->target, format);
    case ObjectShow::kUrl:
      return Linked(name.empty() ? Escaped(shown->target, format, inCell) : name, shown->target,
                    format);
  }
  return name;
}

}  // namespace

std::string RenderInline(const NoteDocument& document, const NoteLine& line, NoteFormat format,
                         const ObjectLookup& lookup, bool inCell) {
  const bool html = format == NoteFormat::kHtml;
  const std::vector<NoteSpan>& spans = line.spans;
  std::string out;
  for (size_t i = 0; i < spans.size();) {
    if (spans[i].object) {
      const std::string& id = document.String(spans[i].objectId);
      const ShownObject* shown = id.empty() || !lookup ? nullptr : lookup(id);
      out += ObjectText(shown, document.String(spans[i].objectType), format, inCell);
      ++i;
      continue;
    }
    // One link's spans, each group of one look wrapped (HTML: each span, for its colour).
    const uint32_t link = spans[i].link;
    std::string inner;
    while (i < spans.size() && !spans[i].object && spans[i].link == link) {
      if (html) {
        inner += HtmlSpan(spans[i], EscapeHtml(spans[i].text));
        ++i;
        continue;
      }
      const uint8_t look = spans[i].look;
      std::string raw;
      for (; i < spans.size() && !spans[i].object && spans[i].link == link && spans[i].look == look;
           ++i)
        raw += spans[i].text;
      inner += WrapLook(raw, Escaped(raw, format, inCell), look, false);
    }
    out += link == 0 ? inner : Linked(inner, document.String(link), format);
  }
  return out;
}

std::vector<const NoteTableCells*> LineTables(const NoteDocument& document, const NoteLine& line,
                                              const ObjectLookup& lookup) {
  std::vector<const NoteTableCells*> tables;
  if (!lookup) return tables;
  for (const NoteSpan& span : line.spans) {
    if (!span.object || span.objectId == 0) continue;
    const ShownObject* shown = lookup(document.String(span.objectId));
    if (shown != nullptr && shown->show == ObjectShow::kTable && shown->table != nullptr)
      tables.push_back(shown->table);
  }
  return tables;
}

}  // namespace veldrake::backup
