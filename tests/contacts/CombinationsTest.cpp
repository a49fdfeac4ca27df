// Join and delivery: each person gets its items by number, right before it is offered.
// Runs under LeakSanitizer/AddressSanitizer too: every path must release each record once.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ContactTestSupport.h"

using veldrake::NewRecordText;

namespace {

using namespace contacttest;

class CombinationsTest : public ::testing::Test {
 protected:
  void SetUp() override { gRecorder = &recorder; }
  void TearDown() override { gRecorder = nullptr; }
  void AddContact(int id) {
    analysis.contacts.push_back(new QX::Contact());
    analysis.contacts.back()->id = id;
  }
  void AddField(int owner, const std::string& value) {
    auto* field = new QX::ContactField(1);
    field->value = NewRecordText(value);
    analysis.fields.push_back(new PListField{owner, field});
  }
  void AddAddress(int owner, const std::string& city) {
    auto* address = new QX::ContactAddressFields();
    address->address->city = NewRecordText(city);
    analysis.addresses.push_back(new PListAddress{owner, address});
  }
  int Deliver() { return analysis.Combinations(unused, Callback()); }
  std::vector<int> OfferedIds() const {
    std::vector<int> ids;
    for (const SeenContact& c : recorder.seen) ids.push_back(c.id);
    return ids;
  }

  Recorder recorder;
  PListContactAnalysis analysis;
  std::vector<QX::Contact*> unused;
};

TEST_F(CombinationsTest, NoContactsMeansNoCallAndUnclaimedItemsAreReleased) {
  AddField(1, "orphan");
  AddAddress(1, "nowhere");
  EXPECT_EQ(Deliver(), 0);
  EXPECT_TRUE(recorder.seen.empty());
  EXPECT_TRUE(analysis.fields.empty() && analysis.addresses.empty());
}

TEST_F(CombinationsTest, ItemsJoinTheirOwnerInListOrder) {
  AddField(9, "a9");  // a sub-record ahead of its person
  AddContact(7);
  AddContact(9);
  AddContact(8);
  AddContact(7);  // a shared number: the first contact takes the items
  AddField(7, "b7");
  AddAddress(9, "c9");
  AddField(9, "d9");
  AddField(12, "orphan");
  AddAddress(7, "e7");
  AddAddress(9, "f9");
  EXPECT_EQ(Deliver(), 0);
  ASSERT_EQ(OfferedIds(), (std::vector<int>{7, 9, 8, 7}));
  EXPECT_EQ(recorder.seen[0].fields, (std::vector<std::string>{"1|<null>|b7"}));
  EXPECT_EQ(recorder.seen[0].addresses,
            (std::vector<std::string>{"<null>|<null>|e7|<null>|<null>|<null>"}));
  EXPECT_EQ(recorder.seen[1].fields, (std::vector<std::string>{"1|<null>|a9", "1|<null>|d9"}));
  ASSERT_EQ(recorder.seen[1].addresses.size(), 2u);
  EXPECT_NE(recorder.seen[1].addresses[0].find("c9"), std::string::npos);
  EXPECT_NE(recorder.seen[1].addresses[1].find("f9"), std::string::npos);
  for (size_t empty : {size_t{2}, size_t{3}})
    EXPECT_TRUE(recorder.seen[empty].fields.empty() && recorder.seen[empty].addresses.empty());
  EXPECT_EQ(analysis.contacts.size(), 4u);  // slots stay, emptied
  EXPECT_EQ(analysis.contacts[0], nullptr);
}

// Only -1 stops; every record is released either way.
TEST_F(CombinationsTest, MinusOneStopsAndEveryRecordIsReleased) {
  recorder.answers = {1, -2, 7};
  for (int id : {1, 2, 3}) AddContact(id);
  EXPECT_EQ(Deliver(), 0);
  EXPECT_EQ(OfferedIds(), (std::vector<int>{1, 2, 3}));
  for (size_t stopAt : {size_t{0}, size_t{2}}) {
    SCOPED_TRACE(stopAt);
    recorder = Recorder();
    recorder.answers.assign(3, 0);
    recorder.answers[stopAt] = -1;
    for (int id : {1, 2, 3}) {
      AddContact(id);
      AddField(id, "f" + std::to_string(id));
      AddAddress(id, "a" + std::to_string(id));
    }
    EXPECT_EQ(Deliver(), -1);
    EXPECT_EQ(recorder.seen.size(), stopAt + 1);
    EXPECT_EQ(recorder.seen.back().fields.size(), 1u);
    EXPECT_TRUE(analysis.contacts.empty() && analysis.fields.empty());
  }
}

}  // namespace
