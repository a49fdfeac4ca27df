// Notes as JSON, through nlohmann::json for the escaping.
#include "NoteJson.h"

#include <nlohmann/json.hpp>

#include "NoteMarkdown.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

const char* const kKindNames[] = {"file", "image", "scan", "drawing", "url", "table", "missing"};

Json Nullable(const Text& text) {
  return text ? Json(*text) : Json(nullptr);
}

Json DateJson(int64_t seconds) {
  return Nullable(NoteTimeToIso(seconds));
}

Json AttachmentJson(const NoteAttachmentRecord& a) {
  Json j;
  j["id"] = a.id;
  j["kind"] = AttachmentKindName(a.kind);
  j["type"] = a.type;
  j["fileName"] = a.fileName.empty() ? Json(nullptr) : Json(a.fileName);
  if (a.title) j["title"] = *a.title;
  if (a.url) j["url"] = *a.url;
  j["size"] = a.size >= 0 ? Json(a.size) : Json(nullptr);
  if (!a.path.empty()) j["path"] = a.path;
  return j;
}

Json TableJson(const NoteTableRecord& t) {
  Json rows = Json::array();
  for (size_t r = 0; r < t.rows; ++r) {
    Json row = Json::array();
    for (size_t c = 0; c < t.columns; ++c) row.push_back(t.cells[r * t.columns + c]);
    rows.push_back(std::move(row));
  }
  return rows;
}

// The members a note's object holds, room made before they go in: growing the object would
// copy the texts already in it.
constexpr size_t kNoteMembers = 12;

Json NoteJsonOf(NoteRecord&& n) {
  Json j = Json::object();
  j.get_ref<Json::object_t&>().reserve(kNoteMembers);
  j["subject"] = n.hasTitle ? Json(std::move(n.title)) : Json(nullptr);
  j["content"] = n.hasText ? Json(std::move(n.text)) : Json(nullptr);
  j["modified"] = DateJson(n.modified);
  const std::string folder = FolderText(n);
  j["folder"] = folder.empty() ? Json(nullptr) : Json(folder);
  j["account"] = Nullable(n.account);
  j["created"] = DateJson(n.created);
  j["pinned"] = n.pinned;
  j["id"] = Nullable(n.id);
  j["tags"] = n.tags;
  j["attachments"] = Json::array();
  for (const NoteAttachmentRecord& a : n.attachments) j["attachments"].push_back(AttachmentJson(a));
  j["tables"] = Json::array();
  for (const NoteTableRecord& t : n.tables) j["tables"].push_back(TableJson(t));
  return j;
}

}  // namespace

const char* AttachmentKindName(int kind) {
  const size_t count = sizeof kKindNames / sizeof kKindNames[0];
  return kind >= 0 && static_cast<size_t>(kind) < count ? kKindNames[kind] : "file";
}

void WriteNoteJsonItem(std::ostream& out, NoteRecord&& note, size_t index) {
  // An element of the array as dump(2) indents it, written straight to the stream rather
  // than through one string of the whole note.
  const unsigned kIndent = 2;
  out << (index == 0 ? "[\n  " : ",\n  ");
  nlohmann::detail::serializer<Json> serializer(nlohmann::detail::output_adapter<char>(out), ' ',
                                                Json::error_handler_t::replace);
  serializer.dump(NoteJsonOf(std::move(note)), true, false, kIndent, kIndent);
}

void EndNotesJson(std::ostream& out, size_t count) {
  out << (count == 0 ? "[]\n" : "\n]\n");
}

}  // namespace host
