#include "fuzz/ProviderScript.h"

#include <cstring>
#include <iterator>
#include <memory>

#include "fuzz/FuzzInput.h"
#include "platform/Platform.h"

namespace wkt::fuzz {
namespace {

constexpr int kMaxSteps = 60;
// The three folders, a near miss, none, and one without a terminator.
constexpr const char16_t* kFolders[] = {u"WktActivities", u"WktFavorites", u"WktTypes",
                                        u"wktActivities", u""};
constexpr int kUnterminated = std::size(kFolders);
constexpr const char16_t* kDatabases[] = {u"WktDevJobs", u"WktDevFavJobs", u"WktDevTypes"};
// I4, FILETIME, LPWSTR, BOOL: those of the databases; the others are strange there.
constexpr WORD kTypes[] = {CEVT_I4,   CEVT_FILETIME, CEVT_LPWSTR, CEVT_BOOL,
                           CEVT_BLOB, CEVT_I2,       CEVT_R8,     CEVT_UI4};
constexpr DWORD kMaxRecommended = 8192;
constexpr size_t kVolumeNameBytes = 520;

CEGUID objectStore = {};

std::vector<uint8_t> Copy(const BYTE* bytes, DWORD byteCount) {
  return {bytes, bytes + byteCount};
}

}  // namespace

ProviderScript::ProviderScript(const uint8_t* data, size_t byteCount, const Packets& goodPackets)
    : input(data, byteCount), good(goodPackets) {}

ProviderScript::~ProviderScript() {
  ReleaseAll();
}

void ProviderScript::Play() {
  for (int step = 0; step < kMaxSteps && !input.IsEmpty(); ++step)
    PlayOne();
}

void ProviderScript::PlayOne() {
  using Step = void (ProviderScript::*)();
  static constexpr Step kSteps[] = {&ProviderScript::Initialise,
                                    &ProviderScript::SetUp,
                                    &ProviderScript::GetPacket,
                                    &ProviderScript::SetPacket,
                                    &ProviderScript::Reset,
                                    &ProviderScript::Delete,
                                    &ProviderScript::Find,
                                    &ProviderScript::Notify,
                                    &ProviderScript::DescribeFolder,
                                    &ProviderScript::ReportOrAsk,
                                    &ProviderScript::CountReferences,
                                    &ProviderScript::WriteAsApplication,
                                    &ProviderScript::ChangeAsApplication};
  (this->*kSteps[input.Byte() % std::size(kSteps)])();
}

int ProviderScript::FolderNumber() {
  return input.Byte() % (kUnterminated + 1);
}

void ProviderScript::SetName(WCHAR (&field)[MAX_OBJTYPE_NAME], int folder) {
  if (folder == kUnterminated) {
    std::fill(std::begin(field), std::end(field), u'x');
    return;
  }
  const std::u16string name = kFolders[folder];
  std::fill(std::begin(field), std::end(field), u'\0');
  name.copy(field, MAX_OBJTYPE_NAME - 1);
}

CEOID ProviderScript::Object() {
  const uint8_t which = input.Byte();
  if (which >= 0xF0)
    return input.DoubleWord();
  return objects.empty() ? which : objects[which % objects.size()];
}

void ProviderScript::KnowObject(CEOID oid) {
  if (oid != 0)
    objects.push_back(oid);
}

ProviderScript::Handler& ProviderScript::AnyHandler() {
  return handlers[input.Byte() % std::size(handlers)];
}

// Nobody but the manager initialises, and it has given back what it had of this handler.
void ProviderScript::Initialise() {
  Handler& handler = AnyHandler();
  if (handler.object) {
    for (; handler.references > 0; --handler.references)
      handler.object->Release();
    handler = {};
  }
  const int folder = FolderNumber();
  std::u16string name = folder == kUnterminated ? input.Text() : kFolders[folder];
  const UINT partner = 1 + (input.Byte() & 1);
  if (folder == kUnterminated && name.empty()) {
    InitObjType(nullptr, nullptr, 0);
    return;
  }
  Require(InitObjType(name.data(), &handler.object, partner) == TRUE, "InitObjType succeeds");
  handler.references = handler.object ? 1 : 0;
}

void ProviderScript::SetUp() {
  Handler& handler = AnyHandler();
  const uint8_t how = input.Byte();
  const bool isRead = (how & 1) != 0;
  REPLSETUP& setup = isRead ? handler.reading : handler.writing;
  setup = {};
  setup.cbStruct = sizeof(setup);
  setup.fRead = isRead ? TRUE : FALSE;
  setup.dwFlags = (how & 2) != 0 ? RSF_NEW_OBJECT : (how & 4) != 0 ? input.DoubleWord() : 0;
  SetName(setup.szObjType, FolderNumber());
  setup.oid = Object();
  if (!handler.object)
    return;
  Require(handler.object->Setup(&setup) == S_OK, "Setup succeeds");
  (isRead ? handler.isReading : handler.isWriting) = true;
}

void ProviderScript::GetPacket() {
  Handler& handler = AnyHandler();
  const DWORD recommended = input.Word() % (kMaxRecommended + 1);
  if (!handler.isReading)
    return;
  BYTE* bytes = nullptr;
  DWORD byteCount = 0;
  const HRESULT result = handler.object->GetPacket(&bytes, &byteCount, recommended);
  Require(result != S_OK || !bytes || byteCount > 0, "what is handed out has bytes");
  if (result == RWRN_LAST_PACKET) {
    Require(bytes != nullptr && byteCount <= MAX_PACKET_SIZE, "the last packet is there");
    lastRead = Copy(bytes, byteCount);
  }
}

// A good packet or the last one read, with some bytes changed and perhaps cut; or just bytes.
std::vector<uint8_t> ProviderScript::Packet() {
  const uint8_t which = input.Byte();
  if (which >= 0xF0)
    return input.Take(input.Word());
  std::vector<uint8_t> packet =
      which >= 0xC0 || good.empty() ? lastRead : good[which % good.size()];
  const uint8_t changes = input.Byte();
  for (int i = 0; i < (changes & 15) && !packet.empty(); ++i) {
    const size_t at = input.Word() % packet.size();
    packet[at] = input.Byte();
  }
  if (changes & 0x40) {
    packet.erase(packet.end() - std::min<std::ptrdiff_t>(std::ssize(packet), input.Word()),
                 packet.end());
  }
  if (changes & 0x80) {
    const std::vector<uint8_t> more = input.Take(input.Byte());
    packet.insert(packet.end(), more.begin(), more.end());
  }
  return packet;
}

void ProviderScript::SetPacket() {
  Handler& handler = AnyHandler();
  const std::vector<uint8_t> packet = Packet();
  if (!handler.isWriting)
    return;
  // A block of exactly these bytes, at an odd address.
  const std::unique_ptr<BYTE[]> block(new BYTE[packet.size() + 1]);
  std::copy(packet.begin(), packet.end(), block.get() + 1);
  handler.writing.oidNew = 0;
  const HRESULT result =
      handler.object->SetPacket(block.get() + 1, static_cast<DWORD>(packet.size()));
  Require(result == S_OK || handler.writing.oidNew == 0 ||
              (handler.writing.dwFlags & RSF_NEW_OBJECT) == 0,
          "no new object without success");
  KnowObject(handler.writing.oidNew);
}

void ProviderScript::Reset() {
  Handler& handler = AnyHandler();
  const bool isRead = (input.Byte() & 1) != 0;
  bool& isSetUp = isRead ? handler.isReading : handler.isWriting;
  if (!isSetUp)
    return;
  handler.object->Reset(isRead ? &handler.reading : &handler.writing);
  isSetUp = false;
}

void ProviderScript::Delete() {
  Handler& handler = AnyHandler();
  REPLSETUP setup = {};
  setup.cbStruct = sizeof(setup);
  SetName(setup.szObjType, FolderNumber());
  setup.oid = Object();
  if (handler.object)
    handler.object->DeleteObj(&setup);
}

void ProviderScript::FinishList(int folder) {
  const auto list = lists.find(folder);
  if (list == lists.end())
    return;
  list->second.uFlags = FO_DONE_ONE_VOL;
  FindObjects(&list->second);
  lists.erase(list);
}

void ProviderScript::Find() {
  const int folder = FolderNumber();
  const bool keep = (input.Byte() & 1) != 0;
  FinishList(folder);
  FINDOBJINFO& list = lists[folder];
  list = {};
  SetName(list.szObjType, folder);
  const HRESULT result = FindObjects(&list);
  Require(result == S_OK || result == E_UNEXPECTED, "FindObjects has two results");
  if (result == S_OK && list.poid) {
    for (UINT i = 0; i < list.cUnChg + list.cChg; ++i)
      KnowObject(list.poid[i]);
  }
  if (!keep)
    FinishList(folder);
}

void ProviderScript::Notify() {
  OBJNOTIFY notice = {};
  const uint8_t how = input.Byte();
  notice.cbStruct = (how & 1) != 0 ? input.DoubleWord() : sizeof(notice);
  SetName(notice.szObjType, FolderNumber());
  notice.uFlags = (how & 2) != 0 ? input.DoubleWord() : input.Word() & 0x1FF;
  notice.uPartnerBit = 1 + (how >> 2 & 1);
  notice.oidObject = Object();
  notice.oidInfo.wObjType = (how & 8) != 0 ? input.Word() : OBJTYPE_RECORD;
  notice.oidInfo.infRecord.oidParent = Object();
  CEGUID guid = {};
  if (how & 16) {
    guid.Data1 = input.DoubleWord();
    notice.lpbVolumeID = reinterpret_cast<BYTE*>(&guid);
    notice.cbVolumeID = sizeof(guid);
  }
  ObjectNotify(&notice);
  Require(notice.cOidChg + notice.cOidDel == 0 || notice.poid != nullptr,
          "objects counted are listed");
}

void ProviderScript::DescribeFolder() {
  OBJTYPEINFO info = {};
  const uint8_t how = input.Byte();
  info.cbStruct = (how & 1) != 0 ? input.DoubleWord() : sizeof(info);
  SetName(info.szObjType, FolderNumber());
  GetObjTypeInfo(&info);
}

void ProviderScript::ReportOrAsk() {
  const uint8_t how = input.Byte();
  if (how & 1) {
    std::u16string name = kFolders[0];
    ReportStatus((how & 2) != 0 ? name.data() : nullptr, input.Byte(), input.DoubleWord());
    return;
  }
  std::vector<BYTE> data(kVolumeNameBytes);
  SDREQUEST request = {};
  SetName(request.szObjType, FolderNumber());
  request.fSet = (how & 4) != 0 ? TRUE : FALSE;
  request.uCode = (how & 8) != 0 ? input.DoubleWord() : 1;
  request.lpbData = (how & 16) != 0 ? nullptr : data.data();
  request.cbData = kVolumeNameBytes;
  SyncData(&request);
}

void ProviderScript::CountReferences() {
  Handler& handler = AnyHandler();
  const uint8_t how = input.Byte() % 3;
  if (!handler.object)
    return;
  if (how == 0) {
    handler.references = handler.object->AddRef();
  } else if (how == 1) {
    const IID id = {};
    void* object = this;
    Require(handler.object->QueryInterface(id, &object) == E_NOINTERFACE && !object,
            "there is no other interface");
  } else {
    handler.references = handler.object->Release();
    if (handler.references == 0)
      handler = {};
  }
}

CEPROPVAL ProviderScript::Value(std::u16string& text) {
  CEPROPVAL value = {};
  const uint8_t number = input.Byte();
  const uint8_t how = input.Byte();
  const WORD type = kTypes[how & 7];
  value.propid = (0x4000u + (number & 0x3F)) << 16 | type;
  if (how & 0x80)
    value.wFlags = CEDB_PROPDELETE;
  switch (type) {
    case CEVT_LPWSTR:
      text = input.Text();
      value.val.lpwstr = text.data();
      break;
    case CEVT_BLOB:
      text = input.Text();
      value.val.blob = {static_cast<DWORD>(text.size()), reinterpret_cast<BYTE*>(text.data())};
      break;
    case CEVT_I2:
      value.val.iVal = static_cast<SHORT>(input.Word());
      break;
    case CEVT_I4:
    case CEVT_UI4:
    case CEVT_BOOL:
      value.val.ulVal = input.DoubleWord();
      break;
    default:
      value.val.filetime = {input.DoubleWord(), input.DoubleWord()};
  }
  return value;
}

void ProviderScript::WriteAsApplication() {
  std::u16string name = kDatabases[input.Byte() % std::size(kDatabases)];
  const CEOID oid = (input.Byte() & 1) != 0 ? Object() : 0;
  const size_t count = input.Byte() % 24;
  std::vector<std::u16string> texts(count);
  std::vector<CEPROPVAL> values;
  for (size_t i = 0; i < count; ++i)
    values.push_back(Value(texts[i]));
  CEOID none = 0;
  const HANDLE database = CeOpenDatabaseEx2(&objectStore, &none, name.data(), nullptr, 0, nullptr);
  if (!database)
    return;
  KnowObject(CeWriteRecordProps(database, oid, static_cast<WORD>(count), values.data()));
  CloseHandle(database);
}

void ProviderScript::ChangeAsApplication() {
  const uint8_t how = input.Byte();
  std::u16string name = kDatabases[how >> 4 & 1];
  const CEOID oid = Object();
  CEOID database = 0;
  const HANDLE handle =
      CeOpenDatabaseEx2(&objectStore, &database, name.data(), nullptr, 0, nullptr);
  if (!handle)
    return;
  if (how & 1)
    CeDeleteRecord(handle, oid);
  CloseHandle(handle);
  if (how & 2)
    CeDeleteDatabaseEx(&objectStore, database);
}

void ProviderScript::ReleaseAll() {
  while (!lists.empty())
    FinishList(lists.begin()->first);
  for (Handler& handler : handlers) {
    for (; handler.references > 0; --handler.references)
      handler.object->Release();
  }
  InitObjType(nullptr, nullptr, 0);
}

}  // namespace wkt::fuzz
