// The host's out-of-memory path: a counting allocator that fails the Nth allocation made
// while it is armed, armed only while the fake library lends records, so that every
// allocation of the record copies fails once in turn. The export must stop cleanly and
// say so, never crash, leak or report success.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "Exporter.h"
#include "QX/Contact.h"
#include "QX/Notes.h"

namespace {

bool g_armed = false;
long g_countdown = -1;  // fails when it reaches 0; -1: never

void* Allocate(std::size_t size) {
  if (g_armed && g_countdown >= 0 && g_countdown-- == 0) throw std::bad_alloc();
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}

namespace host {
namespace {

const int kRecords = 3;
char kFirst[] = "Ann", kLast[] = "Example", kLabel[] = "_$!<Mobile>!$_", kValue[] = "+1 555";
char kSubject[] = "Groceries", kContent[] = "milk, eggs";

// Lends three full records of `kind`, armed, and stops when the host says so.
int LendRecords(int kind, void*, void*, void* callback) {
  auto deliver = reinterpret_cast<VeldrakeRecordCallback>(callback);
  QX::ContactField field(QX::kFieldPhone);
  field.label = kLabel;
  field.value = kValue;
  QX::Contact contact;
  contact.firstName = kFirst;
  contact.lastName = kLast;
  contact.fields.push_back(&field);
  QX::Notes note;
  note.subject = kSubject;
  note.content = kContent;
  int result = kVeldrakeOk;
  g_armed = true;
  for (int i = 0; i < kRecords && result == kVeldrakeOk; ++i)
    if (deliver(kind == kVeldrakeContacts ? static_cast<void*>(&contact) : &note) == kStopDelivery)
      result = kind == kVeldrakeContacts ? kVeldrakeConversationFailed : kVeldrakeOk;
  g_armed = false;
  contact.fields.clear();  // the field lives on this stack
  field.label = field.value = nullptr;
  contact.firstName = contact.lastName = nullptr;
  note.subject = note.content = nullptr;
  return result;
}

int Close() {
  return kVeldrakeOk;
}

TEST(Memory, EveryFailedAllocationStopsTheExportAndSaysSo) {
  Library library;
  library.getData = LendRecords;
  library.disconnect = Close;
  for (VeldrakeDataKind kind : {kVeldrakeContacts, kVeldrakeNotes}) {
    bool completed = false;
    for (long failAt = 0; !completed; ++failAt) {
      SCOPED_TRACE(testing::Message() << "kind " << kind << ", allocation " << failAt);
      ExportSettings settings;
      settings.kind = kind;
      Exporter exporter(library, settings);
      g_countdown = failAt;
      const ExportOutcome outcome = exporter.Run(nullptr);
      completed = g_countdown >= 0;  // the countdown never reached its end
      g_countdown = -1;
      EXPECT_EQ(outcome.outOfMemory, !completed);
      EXPECT_EQ(outcome.stoppedByHost, !completed);
      EXPECT_EQ(exporter.count(), completed ? size_t{kRecords} : exporter.count());
      EXPECT_LT(exporter.count(), completed ? size_t{kRecords} + 1 : size_t{kRecords});
      ASSERT_LT(failAt, 1000) << "the copies never finish";
    }
  }
}

}  // namespace
}  // namespace host
