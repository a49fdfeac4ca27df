// The address book's tables, as a phone's AddressBook.sqlitedb declares them (the columns
// public write-ups show; the ones the emulator fills and the ones it leaves NULL).
#ifndef DEVICESIM_BACKUP_ADDRESSBOOKSCHEMA_H_
#define DEVICESIM_BACKUP_ADDRESSBOOKSCHEMA_H_

namespace devicesim::backup {

inline constexpr const char kAddressBookSchema[] =
    "CREATE TABLE _SqliteDatabaseProperties (key TEXT, value TEXT, UNIQUE(key));"
    "CREATE TABLE ABAccount (ROWID INTEGER PRIMARY KEY AUTOINCREMENT,"
    " AccountIdentifier TEXT, Enabled INTEGER DEFAULT 1, SyncData BLOB);"
    "CREATE TABLE ABStore (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, Name TEXT, Type INTEGER,"
    " ConstraintsPath TEXT, ExternalModificationTag TEXT, ExternalSyncTag TEXT,"
    " AccountID INTEGER, Enabled INTEGER DEFAULT 1, SyncData BLOB, MeIdentifier INTEGER);"
    "CREATE TABLE ABPerson (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, First TEXT, Last TEXT,"
    " Middle TEXT, FirstPhonetic TEXT, MiddlePhonetic TEXT, LastPhonetic TEXT,"
    " Organization TEXT, Department TEXT, Note TEXT, Kind INTEGER, Birthday TEXT,"
    " JobTitle TEXT, Nickname TEXT, Prefix TEXT, Suffix TEXT, FirstSort TEXT, LastSort TEXT,"
    " CreationDate INTEGER, ModificationDate INTEGER, CompositeNameFallback TEXT,"
    " ExternalIdentifier TEXT, ExternalModificationTag TEXT, ExternalUUID TEXT,"
    " StoreID INTEGER, DisplayName TEXT, ExternalRepresentation BLOB,"
    " FirstSortSection TEXT, LastSortSection TEXT, FirstSortLanguageIndex INTEGER"
    " DEFAULT 2147483647, LastSortLanguageIndex INTEGER DEFAULT 2147483647,"
    " PersonLink INTEGER DEFAULT -1, ImageURI TEXT, IsPreferredName INTEGER DEFAULT 1,"
    " guid TEXT, PhonemeData TEXT, AlternateBirthday TEXT, MapsData TEXT,"
    " FirstPronunciation TEXT, MiddlePronunciation TEXT, LastPronunciation TEXT,"
    " OrganizationPhonetic TEXT, OrganizationPronunciation TEXT, PreviousFamilyName TEXT,"
    " PreferredLikenessSource TEXT, PreferredPersonaIdentifier TEXT);"
    "CREATE TABLE ABGroup (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, Name TEXT,"
    " ExternalIdentifier TEXT, StoreID INTEGER, ExternalModificationTag TEXT,"
    " ExternalRepresentation BLOB, ExternalUUID TEXT, guid TEXT);"
    "CREATE TABLE ABGroupMembers (UID INTEGER PRIMARY KEY, group_id INTEGER,"
    " member_type INTEGER, member_id INTEGER, UNIQUE(group_id, member_type, member_id));"
    "CREATE TABLE ABMultiValue (UID INTEGER PRIMARY KEY, record_id INTEGER,"
    " property INTEGER, identifier INTEGER, label INTEGER, value TEXT, guid TEXT);"
    "CREATE TABLE ABMultiValueLabel (value TEXT, UNIQUE(value));"
    "CREATE TABLE ABMultiValueEntry (parent_id INTEGER, key INTEGER, value TEXT,"
    " UNIQUE(parent_id, key));"
    "CREATE TABLE ABMultiValueEntryKey (value TEXT, UNIQUE(value));"
    "CREATE TABLE ABPhoneLastFour (multivalue_id INTEGER PRIMARY KEY, value TEXT);"
    "CREATE INDEX ABMultiValueRecordIDIndex ON ABMultiValue(record_id);"
    "CREATE INDEX ABMultiValueEntryParentIndex ON ABMultiValueEntry(parent_id);"
    "CREATE INDEX ABPersonSortIndex ON ABPerson(FirstSort, LastSort);"
    "INSERT INTO _SqliteDatabaseProperties VALUES ('__CPRecordSequenceNumber', '0');"
    "INSERT INTO _SqliteDatabaseProperties VALUES ('_ClientVersion', '32');"
    "INSERT INTO ABStore (Name, Type, Enabled) VALUES ('Local', 0, 1);";

// AddressBookImages.sqlitedb: the full-size picture with the square the phone shows, and
// the thumbnails it makes of it, one per format.
inline constexpr const char kAddressBookImagesSchema[] =
    "CREATE TABLE _SqliteDatabaseProperties (key TEXT, value TEXT, UNIQUE(key));"
    "CREATE TABLE ABThumbnailImage (ROWID INTEGER PRIMARY KEY AUTOINCREMENT,"
    " record_id INTEGER, format INTEGER, derived_from_format INTEGER, data BLOB,"
    " UNIQUE(record_id, format));"
    "CREATE TABLE ABFullSizeImage (ROWID INTEGER PRIMARY KEY AUTOINCREMENT,"
    " record_id INTEGER, crop_x INTEGER, crop_y INTEGER, crop_width INTEGER, data BLOB);"
    "CREATE UNIQUE INDEX ABFullSizeImageRecordIDIndex ON ABFullSizeImage(record_id);"
    "INSERT INTO _SqliteDatabaseProperties VALUES ('_ClientVersion', '32');";

}  // namespace devicesim::backup

#endif  // DEVICESIM_BACKUP_ADDRESSBOOKSCHEMA_H_
