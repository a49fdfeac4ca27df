// The note fixtures: encoder, gzip, collector and store schemas.
#include "NoteFixtures.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>

#include "QX/Notes.h"

namespace notefix {

std::string VarintField(uint32_t field, uint64_t value) {
  std::string out;
  for (uint64_t key = (uint64_t{field} << 3) | 0;; key >>= 7) {
    out += static_cast<char>((key & 0x7F) | (key > 0x7F ? 0x80 : 0));
    if (key <= 0x7F) break;
  }
  for (;; value >>= 7) {
    out += static_cast<char>((value & 0x7F) | (value > 0x7F ? 0x80 : 0));
    if (value <= 0x7F) break;
  }
  return out;
}

std::string Fixed32Field(uint32_t field, float value) {
  std::string out = VarintField(field, 0).substr(0, 1);
  out[0] = static_cast<char>(out[0] | 5);  // wire type 5: 32 bits
  uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  for (int i = 0; i < 4; ++i) out += static_cast<char>((bits >> (8 * i)) & 0xFF);
  return out;
}

Run Looks(std::string text, const std::string& looks) {
  Run run{std::move(text)};
  run.weight = (looks.find('b') != std::string::npos ? 1 : 0) |
               (looks.find('i') != std::string::npos ? 2 : 0);
  run.underline = looks.find('u') != std::string::npos;
  run.strike = looks.find('s') != std::string::npos;
  run.superscript = looks.find('^') != std::string::npos   ? 1
                    : looks.find('_') != std::string::npos ? -1
                                                           : 0;
  return run;
}

std::string BytesField(uint32_t field, const std::string& bytes) {
  std::string out = VarintField(field, bytes.size());
  out[0] = static_cast<char>(out[0] | 2);  // the key's wire type: length-delimited
  return out + bytes;
}

uint64_t Utf16Units(const std::string& utf8) {
  uint64_t units = 0;
  for (const char ch : utf8) {
    const auto c = static_cast<unsigned char>(ch);
    if ((c & 0xC0) != 0x80) ++units;
    if (c >= 0xF0) ++units;
  }
  return units;
}

namespace {

std::string EncodeRun(const Run& run) {
  std::string out = VarintField(1, Utf16Units(run.text));
  std::string paragraph;
  if (run.style >= 0) paragraph += VarintField(1, static_cast<uint64_t>(run.style));
  if (run.indent > 0) paragraph += VarintField(4, static_cast<uint64_t>(run.indent));
  if (run.checked >= 0)
    paragraph += BytesField(
        5, BytesField(1, "0123456789abcdef") + VarintField(2, static_cast<uint64_t>(run.checked)));
  if (run.quote) paragraph += VarintField(8, 1);
  if (!paragraph.empty()) out += BytesField(2, paragraph);
  out += BytesField(3, BytesField(1, "Helvetica"));  // a font the reader skips
  if (run.weight != 0) out += VarintField(5, static_cast<uint64_t>(run.weight));
  if (run.underline) out += VarintField(6, 1);
  if (run.strike) out += VarintField(7, 1);
  // int32 -1 is a ten-byte varint, as protocol buffers write negative int32 values.
  if (run.superscript != 0) out += VarintField(8, static_cast<uint64_t>(int64_t{run.superscript}));
  if (!run.link.empty()) out += BytesField(9, run.link);
  if (run.color >= 0) {
    std::string color;
    for (int shift : {16, 8, 0})
      color += Fixed32Field(static_cast<uint32_t>(color.size() / 5 + 1),
                            static_cast<float>((run.color >> shift) & 0xFF) / 255.0f);
    out += BytesField(10, color + Fixed32Field(4, 1.0f));
  }
  if (run.attachment) out += BytesField(12, BytesField(1, run.id) + BytesField(2, run.uti));
  return out;
}

}  // namespace

std::string EncodeString(const std::vector<Run>& runs) {
  std::string text, encodedRuns;
  for (const Run& run : runs) {
    text += run.text;
    encodedRuns += BytesField(5, EncodeRun(run));
  }
  return BytesField(2, text) + encodedRuns + BytesField(4, "\x01\x02");
}

std::string EncodeNote(const std::vector<Run>& runs) {
  const std::string document =
      VarintField(2, 0) + VarintField(1, 1) + BytesField(3, EncodeString(runs));
  return VarintField(1, 0) + BytesField(2, document);
}

std::string Gzip(const std::string& bytes) {
  z_stream stream{};
  EXPECT_EQ(deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY), Z_OK);
  std::string out(deflateBound(&stream, bytes.size()) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(&out[0]);
  stream.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

std::vector<Delivered>& Collected() {
  static std::vector<Delivered> collected;
  return collected;
}

size_t& StopAfter() {
  static size_t stopAfter = 0;
  return stopAfter;
}

int Collect(void* record) {
  const auto* note = static_cast<const QX::Notes*>(record);
  Collected().push_back(Delivered{note->subject ? note->subject : "<null>",
                                  note->content ? note->content : "<null>", note->dateModified});
  return StopAfter() != 0 && Collected().size() >= StopAfter() ? -1 : 0;
}

void CollectWarning(const char* line, void* context) {
  static_cast<std::vector<std::string>*>(context)->push_back(line);
}

Db OpenMemory() {
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open(":memory:", &db), SQLITE_OK);
  return Db(db);
}

void Exec(sqlite3* db, const std::string& sql) {
  char* error = nullptr;
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
      << (error ? error : "") << "\n"
      << sql;
  sqlite3_free(error);
}

int NoteEntity(Generation generation) {
  return generation == Generation::kIos13 ? 9 : 12;
}
int FolderEntity(Generation generation) {
  return generation == Generation::kIos13 ? 14 : 15;
}

void CreateModernStore(sqlite3* db, Generation generation) {
  Exec(db,
       "CREATE TABLE Z_PRIMARYKEY (Z_ENT INTEGER PRIMARY KEY, Z_NAME VARCHAR, Z_SUPER INTEGER, "
       "Z_MAX INTEGER);"
       "CREATE TABLE ZICNOTEDATA (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, "
       "ZNOTE INTEGER, ZCRYPTOINITIALIZATIONVECTOR BLOB, ZCRYPTOTAG BLOB, ZDATA BLOB);");
  if (generation == Generation::kIos13) {
    Exec(db,
         "CREATE TABLE ZICCLOUDSYNCINGOBJECT (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT "
         "INTEGER, ZISPASSWORDPROTECTED INTEGER, ZMARKEDFORDELETION INTEGER, ZNEEDSINITIALFETCH "
         "INTEGER, ZFOLDERTYPE INTEGER, ZACCOUNT2 INTEGER, ZFOLDER INTEGER, ZNOTEDATA INTEGER, "
         "ZCREATIONDATE TIMESTAMP, ZCREATIONDATE1 TIMESTAMP, ZMODIFICATIONDATE1 TIMESTAMP, "
         "ZIDENTIFIER VARCHAR, ZTITLE VARCHAR, ZTITLE1 VARCHAR, ZTITLE2 VARCHAR, ZSNIPPET "
         "VARCHAR);");
  } else {
    // iOS 15 added the later-numbered dates and the accounts moved on; the creation date the
    // app shows is ZCREATIONDATE3 from then on.
    Exec(db,
         "CREATE TABLE ZICCLOUDSYNCINGOBJECT (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT "
         "INTEGER, ZACCOUNT7 INTEGER, ZACCOUNT8 INTEGER, ZFOLDER INTEGER, ZFOLDERTYPE INTEGER, "
         "ZISPASSWORDPROTECTED INTEGER, ZISSYSTEMPAPER INTEGER, ZMARKEDFORDELETION INTEGER, "
         "ZNOTEDATA INTEGER, ZCREATIONDATE1 TIMESTAMP, ZCREATIONDATE2 TIMESTAMP, ZCREATIONDATE3 "
         "TIMESTAMP, ZMODIFICATIONDATE1 TIMESTAMP, ZIDENTIFIER VARCHAR, ZTITLE1 VARCHAR, ZTITLE2 "
         "VARCHAR, ZDISPLAYTEXT VARCHAR, ZSNIPPET VARCHAR);");
  }
  Exec(db, "INSERT INTO Z_PRIMARYKEY VALUES (" + std::to_string(NoteEntity(generation)) +
               ", 'ICNote', 0, 0), (" + std::to_string(FolderEntity(generation)) +
               ", 'ICFolder', 0, 0), (3, 'ICAttachment', 0, 0);");
}

void CreateLegacyStore(sqlite3* db, LegacyGeneration generation) {
  const std::string body = generation == LegacyGeneration::kIos8 ? "ZBODY INTEGER, " : "";
  Exec(db,
       "CREATE TABLE ZNOTE (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, "
       "ZCONTAINSCJK INTEGER, ZCONTENTTYPE INTEGER, ZDELETEDFLAG INTEGER, ZINTEGERID INTEGER, "
       "ZSTORE INTEGER, " +
           body +
           "ZCREATIONDATE TIMESTAMP, ZMODIFICATIONDATE TIMESTAMP, ZAUTHOR VARCHAR, ZGUID "
           "VARCHAR, ZSUMMARY VARCHAR, ZTITLE VARCHAR);"
           "CREATE TABLE ZNOTEBODY (Z_PK INTEGER PRIMARY KEY, Z_ENT INTEGER, Z_OPT INTEGER, "
           "ZOWNER INTEGER, ZCONTENT VARCHAR, ZEXTERNALCONTENTREF VARCHAR, "
           "ZEXTERNALREPRESENTATION BLOB);");
}

}  // namespace notefix
