// NoteLinks: the links of a note body resolved to where the export put things.
//
// The backup library writes a link to an attachment's file as
// "veldrake-attachment:<id>" and a link to another note as "veldrake-note:<id>"; only the
// host knows where those land. A writer that puts notes and attachments into a folder
// replaces each with the relative path from the note's own file, percent-encoded so it
// works in a Markdown link, an HTML attribute and a file:// URL alike; one that writes a
// single document replaces them with the attachment's file name or an in-page anchor.
//
// Thread contract: pure functions.
#ifndef VELDRAKE_HOST_NOTELINKS_H_
#define VELDRAKE_HOST_NOTELINKS_H_

#include <functional>
#include <optional>
#include <ostream>
#include <string>

namespace host {

extern const char kAttachmentScheme[];  // "veldrake-attachment:"
extern const char kNoteScheme[];        // "veldrake-note:"
extern const char kNowhere[];           // "#": where a link that cannot be resolved goes

// What a link resolver is asked: the kind of link and the identifier after the scheme.
enum class LinkKind { kAttachment, kNote };
using LinkResolver = std::function<std::optional<std::string>(LinkKind, const std::string& id)>;

// Every byte but A-Z a-z 0-9 - . _ ~ and "/" as %XX.
std::string PercentEncodePath(const std::string& relative);

// The path of `to` as seen from the folder of `from`; both relative to one root, with "/"
// between components ("a/b/Note.md", "c/Other.md" -> "../../c/Other.md").
std::string RelativePath(const std::string& from, const std::string& to);

// Writes `body` with each "veldrake-attachment:<id>" and "veldrake-note:<id>" URL replaced
// by what `resolve` answers (used as it is), or by `unresolved` when it answers nullopt.
// An id ends at the first of ) " ' < > ] whitespace or the end.
void ResolveLinks(std::ostream& out, const std::string& body, const LinkResolver& resolve,
                  const std::string& unresolved);
// Whether `body` links to another note.
bool LinksToNotes(const std::string& body);

}  // namespace host

#endif  // VELDRAKE_HOST_NOTELINKS_H_
