#include "tests/sync/Player.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <set>

#include "host/control/Calls.h"
#include "platform/Files.h"
#include "platform/Kernel.h"
#include "platform/Registry.h"
#include "platform/Window.h"
#include "tests/support/DeskDevice.h"
#include "tests/support/Text.h"

namespace wkt::test {
namespace {

std::string ResultName(HRESULT result) {
  switch (result) {
    case S_OK:
      return "S_OK";
    case RWRN_LAST_PACKET:
      return "RWRN_LAST_PACKET";
    case E_UNEXPECTED:
      return "E_UNEXPECTED";
    case RERR_BAD_OBJECT:
      return "RERR_BAD_OBJECT";
    default:
      break;
  }
  char text[16];
  std::snprintf(text, sizeof(text), "0x%08X", static_cast<unsigned>(result));
  return text;
}

std::string Truth(BOOL value) {
  return value ? "TRUE" : "FALSE";
}

template <class Function>
void Resolve(HMODULE library, const char16_t* name, Function& function) {
  function = reinterpret_cast<Function>(GetProcAddressW(library, name));
  EXPECT_NE(function, nullptr) << Narrow(name);
}

void SetName(WCHAR (&field)[MAX_OBJTYPE_NAME], const std::u16string& name) {
  std::u16string padded = name;
  padded.resize(MAX_OBJTYPE_NAME);
  padded.copy(field, MAX_OBJTYPE_NAME);
}

UINT NotifyFlags(const std::string& text) {
  static const std::map<std::string, UINT> kFlags = {
      {"file", 1},     {"directory", 2}, {"database", 4},    {"record", 8},        {"changed", 16},
      {"deleted", 32}, {"clear", 64},    {"call-back", 128}, {"calling-back", 256}};
  UINT flags = 0;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('+', at), text.size());
    const auto found = kFlags.find(text.substr(at, end - at));
    EXPECT_NE(found, kFlags.end()) << text;
    if (found != kFlags.end())
      flags |= found->second;
    at = end + 1;
  }
  return flags;
}

// The identifier of a volume file, which is made when it is missing.
CEGUID VolumeOf(const std::string& path) {
  std::u16string file = Wide(path);
  CEGUID guid = {};
  EXPECT_TRUE(CeMountDBVol(&guid, file.data(), OPEN_ALWAYS)) << path;
  CeUnmountDBVol(&guid);
  return guid;
}

UINT NumberPair(const Command& command, const std::string& key, UINT fallback) {
  return static_cast<UINT>(
      std::strtoul(command.Pair(key, std::to_string(fallback)).c_str(), nullptr, 10));
}

}  // namespace

Player::~Player() {
  ReleaseAll();
}

// A list whose release failed, for want of the database, is still the provider's to free.
void Player::GiveBackList(Folder& folder) {
  if (!folder.found.poid)
    return;
  folder.found.uFlags = FO_DONE_ONE_VOL;
  findObjects(&folder.found);
}

void Player::ReleaseAll() {
  for (auto& [name, folder] : folders) {
    GiveBackList(folder);
    while (folder.handler)
      Release(folder);
  }
}

void Player::Unload() {
  ReleaseAll();
  if (library)
    FreeLibrary(library);
  library = nullptr;
}

Player::Lines Player::Release(Folder& folder) {
  if (!folder.handler)
    return {"= no handler"};
  const ULONG references = folder.handler->Release();
  if (references == 0)
    folder.handler = nullptr;
  return {"= " + std::to_string(references) + " references"};
}

Player::Lines Player::Play(const Command& command) {
  static const std::set<std::string> kOfAHandler = {"setup", "get", "put", "reset", "delete"};
  const std::string verb = command.Word(0);
  if (IsOfTheApplication(command))
    return PlayApplication(command);
  if (verb == "load")
    return Load();
  if (!library)
    return {"= no library"};
  if (!kOfAHandler.contains(verb))
    return PlayManager(command);
  return FolderOf(command).handler ? PlayHandler(command) : Lines{"= no handler"};
}

bool Player::IsOfTheApplication(const Command& command) {
  static const std::set<std::string> kVerbs = {"job",      "type",   "edit",   "remove",  "show",
                                               "registry", "volume", "window", "messages"};
  return kVerbs.contains(command.Word(0));
}

Player::Lines Player::PlayApplication(const Command& command) {
  const control::CallsUnwatched unwatched;
  const std::string verb = command.Word(0);
  if (verb == "job" || verb == "type") {
    Command add = command;
    if (verb == "type")
      add.words.insert(add.words.begin() + 1, "types");
    return application.Add(add);
  }
  if (verb == "edit")
    return application.Edit(command);
  if (verb == "remove")
    return application.Remove(command.Word(1));
  if (verb == "show")
    return application.Show(command.Word(1));
  if (verb == "registry")
    return Registry(command);
  if (verb == "volume") {
    VolumeOf(command.Word(1));
    return {};
  }
  return verb == "window" ? Window(command.Word(1)) : Messages();
}

Player::Lines Player::PlayManager(const Command& command) {
  const std::string verb = command.Word(0);
  if (verb == "init")
    return Init(command);
  if (verb == "end")
    return {"= " + Truth(initObjType(nullptr, nullptr, 0))};
  if (verb == "find")
    return Find(command, 0);
  if (verb == "done")
    return Find(command, FO_DONE_ONE_VOL);
  if (verb == "info")
    return Info(command);
  if (verb == "notify")
    return Notify(command);
  if (verb == "query")
    return Query();
  if (verb == "release")
    return Release(FolderOf(command));
  if (verb == "status")
    return {"= " + Truth(reportStatus(nullptr, static_cast<UINT>(std::stoul(command.Word(1))), 0))};
  return {"= no such command"};
}

Player::Lines Player::PlayHandler(const Command& command) {
  const std::string verb = command.Word(0);
  if (verb == "setup")
    return Setup(command);
  if (verb == "get")
    return Get(command);
  if (verb == "put")
    return Put(command);
  if (verb == "delete")
    return Delete(command);
  Folder& folder = FolderOf(command);
  return {"= " + ResultName(folder.handler->Reset(&folder.readSetup))};
}

Player::Folder& Player::FolderOf(const Command& command) {
  Folder& folder = folders[command.Word(1)];
  folder.name = Wide(command.Word(1));
  folder.database = command.Word(1) == "WktTypes"       ? "types"
                    : command.Word(1) == "WktFavorites" ? "favorite"
                                                        : "daily";
  return folder;
}

Player::Lines Player::Load() {
  library = LoadLibraryW(u"\\Program Files\\Worktally\\WktDevSync.dll");
  if (!library)
    return {"= not loaded: " + std::to_string(GetLastError())};
  const control::CallsUnwatched unwatched;
  Resolve(library, u"InitObjType", initObjType);
  Resolve(library, u"ObjectNotify", objectNotify);
  Resolve(library, u"GetObjTypeInfo", getObjTypeInfo);
  Resolve(library, u"ReportStatus", reportStatus);
  Resolve(library, u"FindObjects", findObjects);
  Resolve(library, u"SyncData", syncData);
  return {"= loaded"};
}

Player::Lines Player::Init(const Command& command) {
  Folder& folder = FolderOf(command);
  Release(folder);
  const UINT partner = static_cast<UINT>(std::stoul(command.Word(2)));
  const BOOL result = initObjType(folder.name.data(), &folder.handler, partner);
  return {"= " + Truth(result) + (folder.handler ? " handler" : " no handler")};
}

// The structure stays as the provider left it between the two calls for a list.
Player::Lines Player::Find(const Command& command, UINT flags) {
  Folder& folder = FolderOf(command);
  FINDOBJINFO& found = folder.found;
  if (found.uFlags == FO_DONE_ONE_VOL)
    GiveBackList(folder);
  if (flags == 0)
    found = {};
  found.uFlags = flags;
  SetName(found.szObjType, folder.name);
  const HRESULT result = findObjects(&found);
  std::string line = "= " + ResultName(result);
  if (flags != 0)
    return {line + (found.poid ? " list kept" : " list gone")};
  line += " unchanged:";
  for (UINT i = 0; i < found.cUnChg; ++i)
    line += " " + application.NameOf(found.poid[i]);
  line += " changed:";
  for (UINT i = 0; i < found.cChg; ++i)
    line += " " + application.NameOf(found.poid[found.cUnChg + i]);
  if (!found.poid)
    line += " no list";
  if (found.lpbVolumeID)
    line += " volume";
  return {line};
}

Player::Lines Player::Info(const Command& command) {
  Folder& folder = FolderOf(command);
  OBJTYPEINFO info = {};
  info.cbStruct = NumberPair(command, "size", sizeof(info));
  SetName(info.szObjType, folder.name);
  const BOOL result = getObjTypeInfo(&info);
  return {"= " + Truth(result) + " '" + Narrow(info.szName) + "' " + std::to_string(info.cObjects) +
          " records"};
}

Player::Lines Player::Setup(const Command& command) {
  Folder& folder = FolderOf(command);
  const bool isRead = command.Word(2) == "read";
  REPLSETUP& setup = isRead ? folder.readSetup : folder.writeSetup;
  setup = {};
  setup.cbStruct = sizeof(setup);
  setup.fRead = isRead ? TRUE : FALSE;
  setup.dwFlags = command.Word(2) == "new" ? RSF_NEW_OBJECT : 0;
  setup.oid = command.Word(2) == "new" ? 0 : application.Find(command.Word(3));
  SetName(setup.szObjType, folder.name);
  return {"= " + ResultName(folder.handler->Setup(&setup))};
}

Player::Lines Player::Get(const Command& command) {
  Folder& folder = FolderOf(command);
  BYTE* bytes = nullptr;
  DWORD byteCount = 0;
  const HRESULT result = folder.handler->GetPacket(&bytes, &byteCount, 8192);
  if (!bytes)
    return {"= " + ResultName(result) + " no packet"};
  return {"= " + ResultName(result) + " " + std::to_string(byteCount) + " bytes",
          "= " + DescribePacket(bytes, byteCount, folder.database == "types")};
}

Player::Lines Player::Put(const Command& command) {
  Folder& folder = FolderOf(command);
  // A block of its own of exactly these bytes: what is read beyond them is found out.
  const std::vector<BYTE> built = BuildPacket(command);
  const std::unique_ptr<BYTE[]> bytes(new BYTE[built.size()]);
  std::copy(built.begin(), built.end(), bytes.get());
  folder.writeSetup.oidNew = 0;
  const HRESULT result = folder.handler->SetPacket(bytes.get(), static_cast<DWORD>(built.size()));
  std::string line = "= " + ResultName(result);
  if (folder.writeSetup.oidNew != 0) {
    if (command.words.size() > 3)
      application.Name(command.Word(2), folder.database, folder.writeSetup.oidNew);
    line += " new " + application.NameOf(folder.writeSetup.oidNew);
  }
  if (folder.writeSetup.cbVolumeID != 0)
    line += " volume";
  return {line};
}

Player::Lines Player::Delete(const Command& command) {
  Folder& folder = FolderOf(command);
  REPLSETUP setup = {};
  setup.cbStruct = sizeof(setup);
  setup.oid = application.Find(command.Word(2));
  SetName(setup.szObjType, folder.name);
  return {"= " + ResultName(folder.handler->DeleteObj(&setup))};
}

Player::Lines Player::Notify(const Command& command) {
  Folder& folder = FolderOf(command);
  CEGUID guid = {};
  OBJNOTIFY notice = {};
  std::optional<control::CallsUnwatched> unwatched(std::in_place);
  notice.cbStruct = NumberPair(command, "size", sizeof(notice));
  SetName(notice.szObjType, folder.name);
  notice.uFlags = NotifyFlags(command.Word(3));
  notice.uPartnerBit = 1;
  notice.oidObject = application.Find(command.Word(2));
  notice.oidInfo.wObjType = static_cast<WORD>(NumberPair(command, "object", OBJTYPE_RECORD));
  const std::string parent = command.Pair("parent", "");
  notice.oidInfo.infRecord.oidParent =
      Application::DatabaseOid(parent.empty() ? folder.database : parent);
  const std::string volume = command.Pair("volume", "null");
  if (volume == "other")
    guid = {1, 2, 3, 4};
  if (volume.starts_with('\\'))
    guid = VolumeOf(volume);
  if (volume != "null") {
    notice.lpbVolumeID = reinterpret_cast<BYTE*>(&guid);
    notice.cbVolumeID = NumberPair(command, "volume-size", sizeof(guid));
  }
  unwatched.reset();
  const BOOL result = objectNotify(&notice);
  std::string line = "= " + Truth(result) + " changed " + std::to_string(notice.cOidChg) +
                     " deleted " + std::to_string(notice.cOidDel);
  line += notice.poid ? " list " + application.NameOf(*notice.poid) : " no list";
  return {line};
}

Player::Lines Player::Query() {
  WCHAR name[260];
  std::memset(name, 0xEE, sizeof(name));
  SDREQUEST request = {};
  request.uCode = 1;
  request.lpbData = reinterpret_cast<BYTE*>(name);
  const HRESULT result = syncData(&request);
  return {"= " + ResultName(result) + " " + std::to_string(request.cbData) + " bytes '" +
          Narrow(name) + "'"};
}

Player::Lines Player::Window(const std::string& what) {
  window.reset();
  if (what == "open")
    window = std::make_unique<control::DeskWindow>();
  return {};
}

Player::Lines Player::Messages() {
  Lines lines;
  if (!window)
    return {"= no window"};
  for (const control::Message& message : window->TakeAll())
    lines.push_back("= WM_USER + " + std::to_string(message.message - WM_USER));
  if (lines.empty())
    lines.push_back("= none");
  return lines;
}

Player::Lines Player::Registry(const Command& command) {
  const std::u16string key = u"Software\\Microsoft\\Stock Portfolio";
  HKEY open = nullptr;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                      &open, nullptr) != ERROR_SUCCESS)
    return {"= no key"};
  const std::u16string text = Wide(command.Word(2));
  RegSetValueExW(open, Wide(command.Word(1)).c_str(), 0, REG_SZ,
                 reinterpret_cast<const BYTE*>(text.c_str()),
                 static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
  RegCloseKey(open);
  return {};
}

}  // namespace wkt::test
