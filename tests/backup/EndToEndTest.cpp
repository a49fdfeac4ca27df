// One book, both routes: samples/addressbook.vcf served by the in-process emulator and
// exported over the sync conversation, and the same book written as a backup by the
// emulator's writer (plain and encrypted, the last people only in the write-ahead log),
// exported through libVeldrakeBackup. The cards must be the same, field by field.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BackupTestSupport.h"
#include "MobileDevice/mdsim.h"
#include "devicesim/Device.h"
#include "devicesim/backup/BackupWriter.h"
#include "veldrake/Backup.h"

namespace {

using namespace backuptest;
using contacttest::SeenContact;

devicesim::AddressBook SampleBook() {
  devicesim::AddressBook book;
  std::string error;
  EXPECT_TRUE(devicesim::LoadVCardFiles(
      {std::string(VELDRAKE_SOURCE_DIR_DEFAULT) + "/samples/addressbook.vcf"}, &book, &error))
      << error;
  return book;
}

std::vector<SeenContact> SyncExport(const devicesim::AddressBook& book) {
  contacttest::Recorder recorder;
  contacttest::gRecorder = &recorder;
  devicesim::InProcessDevice emulator(book, {});
  void* device = mdsim_device_new(emulator.endpoint().c_str());
  EXPECT_EQ(GetData(1, nullptr, device, contacttest::Callback()), 0);
  emulator.wait();
  EXPECT_EQ(DisContectDeviceAndProtocol(), 0);
  mdsim_device_free(device);
  contacttest::gRecorder = nullptr;
  return recorder.seen;
}

std::vector<SeenContact> BackupExport(const std::string& dir, const char* password) {
  contacttest::Recorder recorder;
  contacttest::gRecorder = &recorder;
  const int result = VeldrakeBackupGetData(
      dir.c_str(), password, VELDRAKE_BACKUP_CONTACTS,
      reinterpret_cast<VeldrakeRecordCallback>(contacttest::Callback()), nullptr, nullptr);
  EXPECT_EQ(result, kVeldrakeBackupOk) << VeldrakeBackupLastMessage();
  contacttest::gRecorder = nullptr;
  return recorder.seen;
}

TEST(EndToEndTest, TheSampleBookGivesTheSameCardsByBothRoutes) {
  const devicesim::AddressBook book = SampleBook();
  ASSERT_GE(book.people.size(), 5u);
  const std::vector<SeenContact> sync = SyncExport(book);
  ASSERT_EQ(sync.size(), book.people.size());
  for (const char* password : {"", "sample password"}) {
    TempDir dir;
    devicesim::backup::BackupOptions options;
    options.password = password;
    options.sha256Iterations = 1000;  // the phone's 10,000,000 is the benchmark's business
    options.sha1Iterations = 100;
    options.walPeople = 3;
    std::string error;
    ASSERT_TRUE(devicesim::backup::WriteBackup(book, {}, dir.path(), options, &error)) << error;
    const std::vector<SeenContact> backup =
        BackupExport(dir.path(), *password ? password : nullptr);
    ExpectSameCards(backup, sync);
    for (size_t i = 1; i < backup.size(); ++i) EXPECT_LT(backup[i - 1].id, backup[i].id);
  }
}

}  // namespace
