#include "desktop/partner/Store.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>

#include "desktop/partner/Failure.h"

namespace wkt {
namespace {

constexpr int kFolder = 1;

class StoreTest : public ::testing::Test {
 protected:
  StoreTest() {
    std::string name = (std::filesystem::temp_directory_path() / "wkt-store-XXXXXX").string();
    folder = mkdtemp(name.data());
  }
  ~StoreTest() override { std::filesystem::remove_all(folder); }

  std::string folder;
};

TEST_F(StoreTest, RecordsAreKeptAndNumbersNeverUsedAgain) {
  int64_t first = 0;
  {
    Store store(folder, Store::Mode::OpenOrCreate);
    first = store.Insert(kFolder, u"a", {1, 2});
    store.Delete(first);
    EXPECT_EQ(store.Count(kFolder), 0);
    EXPECT_FALSE(store.Find(first)) << "no device has it, so it is gone at once";
  }
  Store store(folder, Store::Mode::OpenExisting);
  const int64_t second = store.Insert(kFolder, u"a", {3});
  EXPECT_GT(second, first);
  EXPECT_EQ(store.Find(second)->packet, (Bytes{3}));
  EXPECT_EQ(store.Find(second)->recordId, u"a");
  EXPECT_EQ(store.IntegrityProblem(), "");
}

TEST_F(StoreTest, LinkTellsWhetherTheRecordChangedSince) {
  Store store(folder, Store::Mode::OpenOrCreate);
  const int64_t device = store.AddDevice("d", 1);
  const int64_t record = store.Insert(kFolder, u"a", {1});
  EXPECT_EQ(store.Unlinked(device, kFolder), std::vector<int64_t>{record});
  store.SetLink(device, kFolder, 7, record);
  EXPECT_TRUE(store.Unlinked(device, kFolder).empty());
  EXPECT_EQ(store.Links(device, kFolder).at(0).change,
            store.Links(device, kFolder).at(0).recordChange);

  store.Update(record, u"a", {2});
  store.Update(record, u"a", {3});
  const Link link = store.Links(device, kFolder).at(0);
  EXPECT_LT(link.change, link.recordChange);
  EXPECT_EQ(store.Base(device, record), (Bytes{1})) << "the last common state outlives edits";
  store.SetLink(device, kFolder, 7, record);
  EXPECT_EQ(store.Base(device, record), (Bytes{3}));
}

TEST_F(StoreTest, DeletedRecordWaitsForEveryDevice) {
  Store store(folder, Store::Mode::OpenOrCreate);
  const int64_t one = store.AddDevice("d", 1);
  const int64_t two = store.AddDevice("e", 1);
  const int64_t record = store.Insert(kFolder, u"a", {1});
  store.SetLink(one, kFolder, 7, record);
  store.SetLink(two, kFolder, 9, record);
  store.Delete(record);
  EXPECT_EQ(store.Count(kFolder), 0);
  store.DropLink(one, record);
  ASSERT_TRUE(store.Find(record));
  EXPECT_TRUE(store.Links(two, kFolder).at(0).deleted);
  store.DropLinks(two);
  EXPECT_FALSE(store.Find(record));
}

TEST_F(StoreTest, RecordHasOneObjectOnADevice) {
  Store store(folder, Store::Mode::OpenOrCreate);
  const int64_t device = store.AddDevice("d", 1);
  const int64_t record = store.Insert(kFolder, u"a", {1});
  store.SetLink(device, kFolder, 7, record);
  store.SetLink(device, kFolder, 8, record);
  ASSERT_EQ(store.Links(device, kFolder).size(), 1u);
  EXPECT_EQ(store.Links(device, kFolder)[0].oid, 8u);
}

TEST_F(StoreTest, LeftTransactionChangesNothing) {
  Store store(folder, Store::Mode::OpenOrCreate);
  {
    Store::Transaction transaction(store);
    store.Insert(kFolder, u"a", {1});
  }
  EXPECT_EQ(store.Count(kFolder), 0);
}

TEST_F(StoreTest, IdentifiersDifferBetweenCallsAndStores) {
  Store store(folder, Store::Mode::OpenOrCreate);
  Store other(folder + "/other", Store::Mode::OpenOrCreate);
  const std::u16string first = store.NewIdentifier(1);
  EXPECT_NE(first, store.NewIdentifier(1));
  EXPECT_NE(first.substr(first.rfind(u'-')), other.NewIdentifier(1).substr(first.rfind(u'-')));
  EXPECT_LE(first.size(), 39u);
}

std::string ProblemOf(const std::string& folder, Store::Mode mode) {
  try {
    Store store(folder, mode);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "";
}

TEST_F(StoreTest, ForeignFilesAreRefusedAndLeftAlone) {
  EXPECT_NE(ProblemOf(folder, Store::Mode::OpenExisting).find("is not a partner's folder"),
            std::string::npos);

  const std::string text = "this is no database, but a letter that somebody wrote";
  std::ofstream(Store::FilePath(folder)) << text;
  EXPECT_NE(ProblemOf(folder, Store::Mode::OpenExisting).find("partner.wkt"), std::string::npos);
  std::ifstream read(Store::FilePath(folder));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(read), {}), text);

  std::filesystem::remove(Store::FilePath(folder));
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(Store::FilePath(folder).c_str(), &other), SQLITE_OK);
  sqlite3_exec(other, "CREATE TABLE mine (x)", nullptr, nullptr, nullptr);
  sqlite3_close(other);
  EXPECT_NE(ProblemOf(folder, Store::Mode::OpenExisting).find("another program"),
            std::string::npos);
}

TEST_F(StoreTest, NewerFormatIsRefused) {
  { Store store(folder, Store::Mode::OpenOrCreate); }
  sqlite3* raw = nullptr;
  ASSERT_EQ(sqlite3_open(Store::FilePath(folder).c_str(), &raw), SQLITE_OK);
  sqlite3_exec(raw, "PRAGMA user_version = 2", nullptr, nullptr, nullptr);
  sqlite3_close(raw);
  EXPECT_NE(ProblemOf(folder, Store::Mode::OpenExisting)
                .find("newer version (format 2, this one knows 1)"),
            std::string::npos);
}

}  // namespace
}  // namespace wkt
