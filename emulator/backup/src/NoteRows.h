// NoteRows: the rows of one modern store, shared by the writer of its frame (accounts and
// folders, NotesDb.cpp) and the writer of its notes and their objects (NoteRows.cpp).
//
// Thread contract: one StoreWriter per store, on one thread.
#ifndef DEVICESIM_BACKUP_NOTEROWS_H_
#define DEVICESIM_BACKUP_NOTEROWS_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "NoteModel.h"
#include "NotesDb.h"
#include "Sqlite.h"

namespace devicesim::backup {

// Entity numbers (Z_ENT), which every generation renumbers.
struct Entities {
  int account, folder, note, attachment, media, inlineAttachment, noteData;
};

struct Generation {
  int major = 0;
  Entities e{};
  bool creationDate3 = false;   // ZCREATIONDATE3 (iOS 15) rather than ZCREATIONDATE1
  bool mergeable1 = false;      // ZMERGEABLEDATA1 (iOS 13) rather than ZMERGEABLEDATA
  bool accountFolders = false;  // files under Accounts/<id>/ (iOS 13)
  bool passcodeLock = false;    // notes locked with the device passcode (iOS 16)
  NoteFeatures features;
};
Generation GenerationFor(int major);

struct StoreWriter {
  StoreWriter(Db& database, const Generation& generation, const std::string& stage,
              std::vector<NoteFile>* out)
      : db(database), g(generation), stageDir(stage), files(out) {}
  Db& db;
  Generation g;
  std::string stageDir;
  std::vector<NoteFile>* files;
  int64_t nextPk = 1, nextDataPk = 1;
  std::map<std::string, std::string> accountIds;  // account name -> ZIDENTIFIER
  std::map<std::string, int64_t> folders;         // "account\x1Fa\x1Fb" -> Z_PK
  std::map<std::string, std::string> noteIds;     // title -> ZIDENTIFIER (for note links)
};

// A UUID-shaped identifier for row `pk`, as every synced object has.
std::string Identifier(int64_t pk);
// The folder key of a note's account and folder path.
std::string FolderKey(const std::string& account, const std::vector<std::string>& path);
// The phone's own account's name.
extern const char kLocalAccount[];

bool WriteNoteRows(StoreWriter& w, const Note& note, int64_t pk, std::string* error);

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_NOTEROWS_H_
