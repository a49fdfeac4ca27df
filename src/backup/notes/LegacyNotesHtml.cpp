// A forward-only HTML walker that builds lines.
#include "LegacyNotesHtml.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <vector>

#include "NoteText.h"

namespace veldrake::backup {
namespace {

constexpr size_t kMaxEntity = 12;  // "&#x10FFFF;" and the named ones fit
constexpr size_t kMaxIndent = 8;   // deeper lists render at this level
const char kIndentUnit[] = "    ";
const char kAttachment[] = "[attachment]";

struct NamedEntity {
  const char* name;
  char32_t point;
};
constexpr NamedEntity kEntities[] = {{"amp", U'&'},  {"lt", U'<'},    {"gt", U'>'},
                                     {"quot", U'"'}, {"apos", U'\''}, {"nbsp", 0xA0}};

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Decodes the reference at html[at] == '&'; false (leaving `at`) when it is none.
bool DecodeEntity(const std::string& html, size_t* at, std::string* out) {
  // Look no further than the longest reference, so a text full of '&' stays linear.
  const size_t found = html.substr(*at, kMaxEntity + 1).find(';');
  if (found == std::string::npos || found == 1) return false;
  const size_t end = *at + found;
  const std::string name = html.substr(*at + 1, end - *at - 1);
  char32_t point = 0;
  if (name[0] == '#') {
    const bool hex = name.size() > 1 && (name[1] == 'x' || name[1] == 'X');
    const std::string digits = name.substr(hex ? 2 : 1);
    if (digits.empty() || digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") !=
                              std::string::npos)
      return false;
    const unsigned long value = std::stoul(digits, nullptr, hex ? 16 : 10);
    point = value == 0 || value > 0x10FFFF ? kReplacementChar : static_cast<char32_t>(value);
  } else {
    const auto* entity = std::find_if(std::begin(kEntities), std::end(kEntities),
                                      [&](const NamedEntity& e) { return name == e.name; });
    if (entity == std::end(kEntities)) return false;
    point = entity->point;
  }
  AppendUtf8(point, out);
  *at = end + 1;
  return true;
}

// The value of attribute `name` inside one tag's text, entities decoded; "" if absent.
std::string Attribute(const std::string& tag, const char* name) {
  const std::string lower = Lower(tag);
  size_t at = lower.find(name);
  while (at != std::string::npos) {
    size_t next = at + std::strlen(name);
    while (next < tag.size() && tag[next] == ' ') ++next;
    if (next < tag.size() && tag[next] == '=') {
      ++next;
      while (next < tag.size() && tag[next] == ' ') ++next;
      const char quote = next < tag.size() ? tag[next] : ' ';
      const bool quoted = quote == '"' || quote == '\'';
      const size_t start = quoted ? next + 1 : next;
      size_t stop = tag.find_first_of(quoted ? std::string(1, quote) : std::string(" >"), start);
      if (stop == std::string::npos) stop = tag.size();
      std::string raw = tag.substr(start, stop - start), value;
      for (size_t i = 0; i < raw.size();)
        if (raw[i] != '&' || !DecodeEntity(raw, &i, &value)) value += raw[i++];
      return value;
    }
    at = lower.find(name, at + 1);
  }
  return "";
}

// The lines of the body as they are found: the first becomes the title, the others the
// content.
class HtmlLines {
 public:
  HtmlLines(std::string* title, std::string* content) : title_(title), content_(content) {
    title_->clear();
    content_->clear();
  }
  void Text(const std::string& text) {
    for (char c : text) {
      // Line breaks in the source are layout, not text: the editor wrote lines as blocks.
      // Spaces and tabs the person typed stay as they are.
      if (c == '\r' || (c == '\n' && !started_)) continue;
      Start();
      line_ += c == '\n' ? ' ' : c;
    }
  }
  void Tag(const std::string& tag);
  // The lines so far, the current one included: what the output holds.
  size_t Size() const { return content_->size() + line_.size(); }
  void Finish() { EndLine(false); }

 private:
  struct List {
    bool ordered;
    int count;
  };

  void Start() {
    if (started_) return;
    started_ = true;
    line_ += prefix_;
  }
  void EndLine(bool always) {
    if (always || started_) Emit();
    line_.clear();
    prefix_.clear();
    started_ = false;
    linkStart_ = std::string::npos;
  }
  void OpenItem() {
    EndLine(false);
    if (lists_.empty()) lists_.push_back(List{false, 0});
    const size_t level = std::min(lists_.size() - 1, kMaxIndent);
    for (size_t i = 0; i < level; ++i) prefix_ += kIndentUnit;
    List& list = lists_.back();
    prefix_ += list.ordered ? std::to_string(++list.count) + ". " : "- ";
  }
  void Link(bool open, const std::string& tag) {
    if (open) {
      href_ = Attribute(tag, "href");
      Start();
      linkStart_ = href_.empty() ? std::string::npos : line_.size();
      return;
    }
    if (linkStart_ == std::string::npos || linkStart_ == line_.size()) return;
    line_.insert(linkStart_, "[");
    line_ += "](" + LinkTarget(href_) + ")";
    linkStart_ = std::string::npos;
  }

  // The first line is the title; the others go into the content, one '\n' between two.
  void Emit() {
    if (lines_++ == 0) {
      title_->swap(line_);
      return;
    }
    if (lines_ > 2) *content_ += '\n';
    *content_ += line_;
  }

  std::string* title_;
  std::string* content_;
  size_t lines_ = 0;
  std::string line_, prefix_, href_;
  bool started_ = false;
  size_t linkStart_ = std::string::npos;
  std::vector<List> lists_;
};

void HtmlLines::Tag(const std::string& tag) {
  const bool closing = tag.size() > 1 && tag[1] == '/';
  size_t end = closing ? 2 : 1;
  while (end < tag.size() && std::isalnum(static_cast<unsigned char>(tag[end]))) ++end;
  const std::string name = Lower(tag.substr(closing ? 2 : 1, end - (closing ? 2 : 1)));
  if (name == "br") {
    EndLine(true);
  } else if (name == "ul" || name == "ol") {
    EndLine(false);
    if (!closing) lists_.push_back(List{name == "ol", 0});
    if (closing && !lists_.empty()) lists_.pop_back();
  } else if (name == "li") {
    closing ? EndLine(false) : OpenItem();
  } else if (name.size() == 2 && name[0] == 'h' && name[1] >= '1' && name[1] <= '6') {
    EndLine(false);
    if (!closing) prefix_ = std::string(static_cast<size_t>(std::min(name[1] - '0', 3)), '#') + " ";
  } else if (name == "div" || name == "p" || name == "blockquote" || name == "pre" ||
             name == "tr" || name == "table") {
    EndLine(false);
  } else if (name == "a") {
    Link(!closing, tag);
  } else if (!closing && (name == "img" || name == "object" || name == "embed")) {
    Start();
    line_ += kAttachment;
  }
}

// Where the content of a <style>, <script> or <head> element ends: past its closing tag.
size_t SkipElement(const std::string& lowerHtml, const std::string& name, size_t from) {
  const size_t close = lowerHtml.find("</" + name, from);
  if (close == std::string::npos) return lowerHtml.size();
  const size_t end = lowerHtml.find('>', close);
  return end == std::string::npos ? lowerHtml.size() : end + 1;
}

}  // namespace

bool RenderLegacyNoteHtml(const std::string& html, size_t limit, std::string* title,
                          std::string* content) {
  HtmlLines lines(title, content);
  const std::string lower = Lower(html);
  std::string text;
  size_t at = 0;
  while (at < html.size()) {
    if (lines.Size() > limit) return false;
    const char c = html[at];
    if (c == '&' && DecodeEntity(html, &at, &text)) continue;
    if (c != '<') {
      text += c;
      ++at;
      continue;
    }
    lines.Text(text);
    text.clear();
    if (lower.compare(at, 4, "<!--") == 0) {
      const size_t end = lower.find("-->", at + 4);
      at = end == std::string::npos ? html.size() : end + 3;
      continue;
    }
    const size_t end = html.find('>', at);
    if (end == std::string::npos) break;  // a tag cut off at the end: nothing more to show
    const std::string tag = lower.substr(at, end - at + 1);
    lines.Tag(html.substr(at, end - at + 1));
    at = end + 1;
    for (const char* skipped : {"<style", "<script", "<head"}) {
      if (tag.compare(0, std::strlen(skipped), skipped) == 0)
        at = SkipElement(lower, skipped + 1, at);
    }
  }
  lines.Text(text);
  lines.Finish();
  return lines.Size() <= limit;
}

}  // namespace veldrake::backup
