// Note-body links to relative paths.
#include "NoteLinks.h"

#include <cstring>
#include <vector>

namespace host {

const char kAttachmentScheme[] = "veldrake-attachment:";
const char kNoteScheme[] = "veldrake-note:";
const char kNowhere[] = "#";

namespace {

const char kIdEnd[] = ")\"'<>] \t\r\n";

bool Unreserved(unsigned char c) {
  return std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~' || c == '/';
}

std::vector<std::string> Components(const std::string& path) {
  std::vector<std::string> parts;
  size_t begin = 0;
  for (size_t slash; (slash = path.find('/', begin)) != std::string::npos; begin = slash + 1)
    parts.push_back(path.substr(begin, slash - begin));
  parts.push_back(path.substr(begin));
  return parts;
}

// The scheme at `at`, with its kind; false when neither starts there.
bool SchemeAt(const std::string& body, size_t at, LinkKind* kind, size_t* length) {
  for (const auto& scheme : {std::make_pair(kAttachmentScheme, LinkKind::kAttachment),
                             std::make_pair(kNoteScheme, LinkKind::kNote)}) {
    const size_t n = std::strlen(scheme.first);
    if (body.compare(at, n, scheme.first) == 0) {
      *kind = scheme.second;
      *length = n;
      return true;
    }
  }
  return false;
}

}  // namespace

std::string PercentEncodePath(const std::string& relative) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (char c : relative) {
    const unsigned char u = static_cast<unsigned char>(c);
    if (Unreserved(u)) {
      out += c;
    } else {
      out += '%';
      out += kHex[u >> 4];
      out += kHex[u & 0xF];
    }
  }
  return out;
}

std::string RelativePath(const std::string& from, const std::string& to) {
  const std::vector<std::string> source = Components(from), target = Components(to);
  // Folders shared by both, not counting either's file name.
  size_t shared = 0;
  while (shared + 1 < source.size() && shared + 1 < target.size() &&
         source[shared] == target[shared])
    ++shared;
  std::string out;
  for (size_t i = shared; i + 1 < source.size(); ++i) out += "../";
  for (size_t i = shared; i < target.size(); ++i) out += (i > shared ? "/" : "") + target[i];
  return out;
}

bool LinksToNotes(const std::string& body) {
  return body.find(kNoteScheme) != std::string::npos;
}

void ResolveLinks(std::ostream& out, const std::string& body, const LinkResolver& resolve,
                  const std::string& unresolved) {
  size_t at = 0;
  for (size_t hit; (hit = body.find("veldrake-", at)) != std::string::npos;) {
    LinkKind kind;
    size_t length;
    out.write(body.data() + at, static_cast<std::streamsize>(hit - at));
    if (!SchemeAt(body, hit, &kind, &length)) {
      out << "veldrake-";
      at = hit + std::strlen("veldrake-");
      continue;
    }
    const size_t idBegin = hit + length;
    size_t idEnd = body.find_first_of(kIdEnd, idBegin);
    if (idEnd == std::string::npos) idEnd = body.size();
    const std::optional<std::string> target = resolve(kind, body.substr(idBegin, idEnd - idBegin));
    out << (target ? *target : unresolved);
    at = idEnd;
  }
  out.write(body.data() + at, static_cast<std::streamsize>(body.size() - at));
}

}  // namespace host
