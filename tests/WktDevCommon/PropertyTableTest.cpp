#include "WktDevCommon/PropertyTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "WktCommon/WktTypeKinds.h"
#include "WktDevCommon/JobDatabase.h"
#include "WktDevCommon/WktTypeDatabase.h"
#include "tests/support/DeskDevice.h"

namespace {

std::u16string Text(const WideString& text) {
  return text.c_str();
}

// A job's values as read, in table order.
class PropertyTable : public wkt::test::DeskDeviceTest {
 protected:
  PropertyTable() : job(FALSE) {
    job.SetJobId(u"J1");
    job.SetTitle(u"Title");
    job.SetComment(u"Comment");
    job.SetPersonIds(u"P1; P2");
    job.SetFlags(u"1001000000000000000");
    job.SetUnused2(5);
    job.SetUnused3(u"head tail");
    job.SetWorkTypeId(u"W");
    job.SetProjectId(u"P");
    job.SetTeamworkId(u"T");
    job.SetModificationTime({77, 0}, FALSE);
    WORD count = 0;
    const auto array = CJobDatabase::AllocPropertyArray(&count);
    CJobDatabase::FillPropValArray(array.get(), &job, -1);
    values.assign(array.get(), array.get() + count);
  }

  std::unique_ptr<CJobLean> Load() {
    auto loaded = std::make_unique<CJobLean>(TRUE);
    CJobDatabase::FillJobBase(loaded.get(), {values.data(), values.size()});
    return loaded;
  }

  static void ExpectWhole(const CJobLean& loaded) {
    EXPECT_EQ(Text(loaded.GetJobId()), u"J1");
    EXPECT_EQ(Text(loaded.GetTitle()), u"Title");
    EXPECT_EQ(Text(loaded.GetComment()), u"Comment");
    EXPECT_EQ(Text(loaded.GetPersonIds()), u"P1; P2");
    EXPECT_EQ(std::u16string(loaded.GetFlags()), u"1001000000000000000");
    EXPECT_EQ(loaded.GetUnused2(), 5);
    EXPECT_EQ(Text(loaded.GetUnused3()), u"head tail");
    EXPECT_EQ(Text(loaded.GetWorkTypeId()), u"W");
    EXPECT_EQ(Text(loaded.GetProjectId()), u"P");
    EXPECT_EQ(Text(loaded.GetTeamworkId()), u"T");
    EXPECT_EQ(loaded.GetModificationTime().dwLowDateTime, 77u);
  }

  CJobLean job;
  std::vector<CEPROPVAL> values;
};

TEST_F(PropertyTable, LoadsValuesInTheirOrder) {
  ExpectWhole(*Load());
}

TEST_F(PropertyTable, LoadsValuesInAnyOrder) {
  std::mt19937 random(1);
  for (int i = 0; i < 50; ++i) {
    std::shuffle(values.begin(), values.end(), random);
    ExpectWhole(*Load());
  }
}

TEST_F(PropertyTable, IgnoresAPropertyItDoesNotKnow) {
  CEPROPVAL unknown = {};
  unknown.propid = 0x4099001F;
  unknown.val.lpwstr = const_cast<WCHAR*>(u"unknown");
  for (const size_t at : {size_t{0}, size_t{7}, values.size()}) {
    std::vector<CEPROPVAL> more = values;
    more.insert(more.begin() + static_cast<std::ptrdiff_t>(at), unknown);
    CJobLean loaded(TRUE);
    CJobDatabase::FillJobBase(&loaded, {more.data(), more.size()});
    ExpectWhole(loaded);
  }
}

TEST_F(PropertyTable, LeavesTheDefaultOfEachMissingProperty) {
  const std::vector<CEPROPVAL> all = values;
  for (size_t missing = 0; missing < all.size(); ++missing) {
    values = all;
    values.erase(values.begin() + static_cast<std::ptrdiff_t>(missing));
    const std::unique_ptr<CJobLean> loaded = Load();
    EXPECT_EQ(Text(loaded->GetJobId()) == u"J1", missing != 0) << missing;
    EXPECT_EQ(loaded->GetModificationTime().dwLowDateTime == 77, missing != 2) << missing;
    EXPECT_EQ(Text(loaded->GetTitle()) == u"Title", missing != 3) << missing;
    EXPECT_EQ(Text(loaded->GetTeamworkId()) == u"T", missing != 21) << missing;
  }
}

TEST_F(PropertyTable, ARecordWithoutIdentifierKeepsTheDrawnOne) {
  values.erase(values.begin());
  EXPECT_EQ(Text(Load()->GetJobId()).substr(0, 3), u"CE-");
}

TEST_F(PropertyTable, LoadsTheFirstEighteenProperties) {
  values.resize(18);
  const std::unique_ptr<CJobLean> loaded = Load();
  EXPECT_EQ(Text(loaded->GetUnused3()), u"head tail");
  EXPECT_EQ(Text(loaded->GetWorkTypeId()), u"");
  EXPECT_EQ(loaded->GetModificationTime().dwLowDateTime, 77u);
}

TEST_F(PropertyTable, TakesAValueMarkedMissingForMissing) {
  values[3].wFlags = CEDB_PROPNOTFOUND;
  values[3].val.lpwstr = nullptr;
  EXPECT_EQ(Text(Load()->GetTitle()), u"");
}

TEST_F(PropertyTable, CutsAFlagTextThatIsTooLong) {
  values[11].val.lpwstr = const_cast<WCHAR*>(u"00000000000000000001111111111");
  // Characters 0, 1 and 3 come from the properties of their own behind it.
  EXPECT_EQ(std::u16string(Load()->GetFlags()), u"1001000000000000000");
}

TEST_F(PropertyTable, CutsAFlagTextOfATypeThatIsTooLong) {
  const std::u16string flags(30'000, u'1');
  CEPROPVAL value = {};
  value.propid = 0x4029001F;
  value.val.lpwstr = const_cast<WCHAR*>(flags.c_str());
  const wkt::TypePtr loaded(wkt::MakeType(3, FALSE));
  CWktTypeDatabase::FillWktTypeBase(loaded.get(), {&value, 1});
  EXPECT_EQ(std::u16string(loaded->GetFlags()), std::u16string(19, u'1'));
  EXPECT_EQ(Text(loaded->GetUnused1()), u"");
}

TEST_F(PropertyTable, ReadsANullTextAsEmpty) {
  for (CEPROPVAL& value : values) {
    if ((value.propid & 0xFFFF) == CEVT_LPWSTR)
      value.val.lpwstr = nullptr;
  }
  const std::unique_ptr<CJobLean> loaded = Load();
  EXPECT_EQ(Text(loaded->GetTitle()), u"");
  EXPECT_EQ(std::u16string(loaded->GetFlags()).size(), 19u);
}

TEST_F(PropertyTable, FillsOnlyTheFirstValuesAndOnlyKnownOnes) {
  CEPROPVAL three[3] = {};
  three[0].propid = 0x4015001F;
  three[1].propid = 0x4099001F;
  three[2].propid = 0x4013001F;
  three[1].val.lVal = 1234;
  CJobDatabase::FillPropValArray(three, &job, 2);
  EXPECT_EQ(std::u16string(three[0].val.lpwstr), u"T");
  EXPECT_EQ(three[1].val.lVal, 1234);
  EXPECT_EQ(three[2].val.lpwstr, nullptr);
}

struct CountingObserver : wkt::JobObserver, wkt::TypeObserver {
  void OnJobChanged(CJobLean&) override { ++count; }
  void OnTypeChanged(CWktTypeLean&) override { ++count; }
  int count = 0;
};

// Neither the fields nor the stored time, which is applied without force, are news.
TEST_F(PropertyTable, LoadingTheSameAgainTellsNobody) {
  CountingObserver observer;
  const std::unique_ptr<CJobLean> loaded = Load();
  loaded->SetObserver(&observer);
  CJobDatabase::FillJobBase(loaded.get(), {values.data(), values.size()});
  EXPECT_EQ(observer.count, 0);
  loaded->SetModificationTime({78, 0}, FALSE);
  EXPECT_EQ(observer.count, 1);

  const wkt::TypePtr type(wkt::MakeType(3, TRUE));
  WORD count = 0;
  const auto array = CWktTypeDatabase::AllocPropertyArray(&count);
  CWktTypeDatabase::FillPropValArray(array.get(), type.get(), -1);
  const wkt::TypePtr again(wkt::MakeType(3, TRUE));
  CWktTypeDatabase::FillWktTypeBase(again.get(), {array.get(), count});
  const std::vector<wkt::TypeObserver*> observers = {&observer};
  again->SetObservers(&observers);
  CWktTypeDatabase::FillWktTypeBase(again.get(), {array.get(), count});
  EXPECT_EQ(observer.count, 1);
}

// Values are told by their identifiers, wherever they stand, and those in table order are only met
// sooner: two neighbours exchanged, at each place, and all of the values counted.
TEST_F(PropertyTable, FillsValuesInAnyOrder) {
  const std::vector<CEPROPVAL> filled = values;
  for (const int count : {-1, static_cast<int>(filled.size())}) {
    for (size_t first = 0; first < filled.size(); ++first) {
      const size_t second = (first + 1) % filled.size();
      std::vector<CEPROPVAL> exchanged(filled.size());
      for (size_t i = 0; i < filled.size(); ++i)
        exchanged[i].propid = filled[i].propid;
      std::swap(exchanged[first], exchanged[second]);
      CJobDatabase::FillPropValArray(exchanged.data(), &job, count);
      std::swap(exchanged[first], exchanged[second]);
      values = exchanged;
      ExpectWhole(*Load());
    }
  }
}

TEST_F(PropertyTable, FillsNothingForAnIdentifierItDoesNotKnow) {
  for (size_t at = 0; at < values.size(); ++at) {
    std::vector<CEPROPVAL> strange(values.size());
    for (size_t i = 0; i < values.size(); ++i)
      strange[i].propid = i == at ? 0x4099001F : values[i].propid;
    strange[at].val.lVal = 1234;
    CJobDatabase::FillPropValArray(strange.data(), &job, -1);
    EXPECT_EQ(strange[at].val.lVal, 1234) << at;
    const size_t other = at == 3 ? 4 : 3;
    EXPECT_EQ(std::u16string(strange[other].val.lpwstr), other == 3 ? u"Title" : u"Comment") << at;
  }
}

TEST_F(PropertyTable, LoadsATypeInAnyOrder) {
  const wkt::TypePtr type(wkt::MakeType(3, FALSE));
  type->SetId(u"T1");
  type->SetName1(u"A");
  type->SetName2(u"B");
  type->SetUnused1(u"parent");
  type->SetUnused5({1, 2});
  type->SetModificationTime({88, 0}, FALSE);
  WORD count = 0;
  const auto array = CWktTypeDatabase::AllocPropertyArray(&count);
  ASSERT_EQ(count, 15);
  CWktTypeDatabase::FillPropValArray(array.get(), type.get(), -1);
  std::reverse(array.get(), array.get() + count);
  const wkt::TypePtr loaded(wkt::MakeType(3, TRUE));
  CWktTypeDatabase::FillWktTypeBase(loaded.get(), {array.get(), count});
  EXPECT_EQ(Text(loaded->GetId()), u"T1");
  EXPECT_EQ(Text(loaded->GetDisplayName()), u"A B");
  EXPECT_EQ(Text(loaded->GetUnused1()), u"parent");
  EXPECT_EQ(loaded->GetUnused5().dwHighDateTime, 2u);
  EXPECT_EQ(loaded->GetModificationTime().dwLowDateTime, 88u);
}

}  // namespace
