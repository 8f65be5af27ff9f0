#include <concepts>
#include <limits>

#include "WktCommon/Allocation.h"
#include "WktCommon/TextScanner.h"
#include "WktCommon/WktTypeKinds.h"

namespace {

constexpr int32_t kBlockLines = 22;
constexpr WCHAR kBlockMark[] = u"402";
constexpr int kTrailingLines = 4;
constexpr int kFlag8 = 8;
// First flags of the two pairs in lines 16 and 17.
constexpr int kFirstPair = 4;
constexpr int kSecondPair = 6;
constexpr int32_t kValueLines = 4;
// Lifts fractions such as 0.29, which binary numbers hold a little too low, over the next
// hundredth.
constexpr double kRoundingHelp = 0.00001;

DWORD LowHalf(uint64_t value) {
  return static_cast<DWORD>(value);
}

DWORD HighHalf(uint64_t value) {
  return static_cast<DWORD>(value >> 32);
}

uint64_t FromHalves(DWORD low, DWORD high) {
  return uint64_t{high} << 32 | low;
}

int32_t SignedDecimal(DWORD value) {
  return static_cast<int32_t>(value);
}

// Kept: truncated toward zero, so in numbers below 0, or too large for a single to hold them
// exactly, a hundredth may be lost. A number that no 32 bits can hold becomes the nearest one that
// they can, and no number 0.
int32_t Hundredths(const WideString& text) {
  const double scaled = (static_cast<double>(text.ToNumber()) + kRoundingHelp) * 100;
  if (scaled >= std::numeric_limits<int32_t>::max())
    return std::numeric_limits<int32_t>::max();
  if (scaled <= std::numeric_limits<int32_t>::min())
    return std::numeric_limits<int32_t>::min();
  return scaled == scaled ? static_cast<int32_t>(scaled) : 0;
}

WideString FromHundredths(int32_t hundredths) {
  WideString text;
  text.AssignNumber(static_cast<float>(static_cast<float>(hundredths) * 0.01));
  return text;
}

// Writes lines, each with its line feed.
class LineWriter {
 public:
  LineWriter& operator<<(const WideString& line) {
    text.Append(line).Append(u"\n");
    return *this;
  }
  // int and int32_t, which some compilers take for two types.
  template <std::signed_integral Number>
  requires(sizeof(Number) == sizeof(int)) LineWriter& operator<<(Number number) {
    return *this << WideString(static_cast<int>(number));
  }
  LineWriter& operator<<(const FILETIME& time) {
    return *this << SignedDecimal(time.dwHighDateTime) << SignedDecimal(time.dwLowDateTime);
  }
  LineWriter& operator<<(uint64_t value) {
    return *this << SignedDecimal(HighHalf(value)) << SignedDecimal(LowHalf(value));
  }
  [[nodiscard]] const WideString& Text() const { return text; }

 private:
  WideString text;
};

// Lines of one block, counted from its first.
class LineReader {
 public:
  LineReader(const StringArray& all, int32_t firstLine) : lines(all), first(firstLine) {}
  [[nodiscard]] const WCHAR* Text(int32_t line) const { return lines.At(first + line).c_str(); }
  [[nodiscard]] int32_t Number(int32_t line) const { return lines.At(first + line).ToInteger(); }
  [[nodiscard]] DWORD Half(int32_t line) const { return static_cast<DWORD>(Number(line)); }
  // High half in `line`, low half in the one after it.
  [[nodiscard]] FILETIME Time(int32_t line) const { return {Half(line + 1), Half(line)}; }

 private:
  const StringArray& lines;
  int32_t first;
};

// Value `index` of a four-number text; nothing but exactly four lines counts.
uint64_t ReadValue(const WideString& fourNumbers, int index) {
  StringArray lines;
  wkt::Split(fourNumbers.c_str(), lines, u"\n");
  if (lines.GetCount() != kValueLines)
    return 0;
  const LineReader reader(lines, 2 * index);
  return FromHalves(reader.Half(1), reader.Half(0));
}

WideString FourNumbers(uint64_t valueA, uint64_t valueB) {
  WideString text(SignedDecimal(HighHalf(valueA)));
  for (const DWORD half : {LowHalf(valueA), HighHalf(valueB), LowHalf(valueB)})
    text.Append(u"\n").Append(WideString(SignedDecimal(half)));
  return text;
}

}  // namespace

CWktTypeItem::CWktTypeItem(wkt::ForCopy)
    : CWktTypeLean(FALSE, wkt::TypeClass::Item, wkt::kItemKind) {}

CWktTypeItem::CWktTypeItem() : CWktTypeItem(wkt::ForCopy()) {
  SetName1(FromHundredths(0).c_str());
  SetUnused3(-1);
  SetUnused4(-1);
  SetFlag(kFlag8, FALSE);
  SetUnused2(FourNumbers(0, 0).c_str());
  for (int flag = kFirstPair; flag < kFlag8; ++flag)
    SetFlag(flag, FALSE);
}

CWktTypeItem::CWktTypeItem(const StringArray& lines, int32_t firstLine) : CWktTypeItem() {
  const LineReader block(lines, firstLine);
  SetId(block.Text(1));
  SetComment(block.Text(2));
  SetName1(FromHundredths(block.Number(3)).c_str());
  SetCreationTime(block.Time(6));
  SetUnused3(block.Number(8));
  SetUnused4(block.Number(9));
  SetFlag(kFlag8, block.Number(10) != 0);
  SetValueA(block.Half(12), block.Half(11));
  SetValueB(block.Half(14), block.Half(13));
  SetName2(block.Text(15));
  SetFlagPair(kFirstPair, block.Number(16));
  SetFlagPair(kSecondPair, block.Number(17));
  SetModificationTime(block.Time(4), FALSE);
}

CWktTypeLean* CWktTypeItem::Clone() const {
  CWktTypeItem* const copy = wkt::NewObject<CWktTypeItem>(wkt::ForCopy());
  if (copy)
    copy->owner = owner;
  return CopyInto(copy);
}

WideString CWktTypeItem::ToItemBlock() const {
  LineWriter block;
  block << WideString(kBlockMark) << GetId() << GetComment(FALSE, FALSE) << Hundredths(GetName1())
        << GetModificationTime() << GetCreationTime() << GetUnused3() << GetUnused4()
        << int32_t{IsFlagSet(kFlag8)} << GetValueA() << GetValueB() << GetName2()
        << GetFlagPair(kFirstPair) << GetFlagPair(kSecondPair);
  for (int i = 0; i < kTrailingLines; ++i)
    block << WideString();
  return block.Text();
}

uint64_t CWktTypeItem::GetValueA() const {
  return ReadValue(GetUnused2(), 0);
}

void CWktTypeItem::SetValueA(DWORD low, DWORD high) {
  SetUnused2(FourNumbers(FromHalves(low, high), GetValueB()).c_str());
}

uint64_t CWktTypeItem::GetValueB() const {
  return ReadValue(GetUnused2(), 1);
}

void CWktTypeItem::SetValueB(DWORD low, DWORD high) {
  SetUnused2(FourNumbers(GetValueA(), FromHalves(low, high)).c_str());
}

void CWktTypeItem::SetFlagPair(int firstFlag, int32_t value) {
  SetFlag(firstFlag, value != -1);
  SetFlag(firstFlag + 1, value != -1 && value != 0);
}

int32_t CWktTypeItem::GetFlagPair(int firstFlag) const {
  return IsFlagSet(firstFlag) ? IsFlagSet(firstFlag + 1) : -1;
}

WideString CWktTypeKind5::GetUnused1() const {
  if (!itemList || itemList->empty())
    return Unused1AsStored();
  WideString text;
  for (const CWktTypeItem* const item : *itemList)
    text.Append(item->ToItemBlock());
  StoreUnused1(text);
  return text;
}

void CWktTypeKind5::SetUnused1(const WCHAR* text) {
  CWktTypeLean::SetUnused1(text);
  if (!itemList)
    return;
  wkt::ClearItems(*itemList);
  StringArray lines;
  wkt::Split(Unused1AsStored().c_str(), lines, u"\n");
  for (int32_t first = 0; first + kBlockLines <= lines.GetCount(); first += kBlockLines) {
    CWktTypeItem* const item = wkt::NewObject<CWktTypeItem>(lines, first);
    if (!item)
      return;
    item->SetOwner(this);
    itemList->push_back(item);
  }
}
