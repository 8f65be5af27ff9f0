// The registry functions: handles, paths and buffers over the tree in RegistryStore.
#include "platform/Registry.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "host/coredll/CallHook.h"
#include "host/coredll/Handles.h"
#include "host/coredll/HostErrors.h"
#include "host/coredll/RegistryStore.h"
#include "host/coredll/Text.h"

namespace wkt::host {

namespace {

// A path that nobody can have made: 16 levels of 255 units and their separators.
constexpr size_t kMaxPathUnits = kMaxRegistryDepth * (kMaxRegistryName + 1) + 1;

struct OpenKey : HandleObject {
  static constexpr HandleKind kKind = HandleKind::Key;
  explicit OpenKey(std::u16string keyPath) : path(std::move(keyPath)) {}
  std::u16string path;  // from the root: "HKEY_LOCAL_MACHINE\..."
};

// Names of the predefined keys, by the low bits of their handles.
constexpr std::u16string_view kRoots[] = {u"HKEY_CLASSES_ROOT", u"HKEY_CURRENT_USER",
                                          u"HKEY_LOCAL_MACHINE", u"HKEY_USERS"};

// The root's name when the handle is predefined. Programs on 64 bits may sign-extend it.
std::optional<std::u16string_view> PredefinedRoot(HKEY key) {
  const auto value = reinterpret_cast<uintptr_t>(key);
  const auto low = static_cast<uint32_t>(value);
  const auto signExtended =
      static_cast<uintptr_t>(static_cast<intptr_t>(static_cast<int32_t>(low)));
  if (low - 0x80000000u >= std::size(kRoots) || (value != low && value != signExtended))
    return std::nullopt;
  return kRoots[low - 0x80000000u];
}

struct KeyPath {
  LONG problem = ERROR_SUCCESS;
  std::u16string path;
  bool predefined = false;
};

KeyPath PathOf(HKEY key) {
  if (const auto root = PredefinedRoot(key))
    return {ERROR_SUCCESS, std::u16string(*root), true};
  if (const auto open = FindHandle<OpenKey>(key))
    return {ERROR_SUCCESS, open->path, false};
  return {ERROR_INVALID_HANDLE, {}, false};
}

// The path of a key below another; one trailing separator is let pass.
KeyPath PathBelow(HKEY key, LPCWSTR subKey) {
  KeyPath found = PathOf(key);
  if (found.problem != ERROR_SUCCESS || subKey == nullptr)
    return found;
  const auto bounded = BoundedText(subKey, kMaxPathUnits);
  if (!bounded)
    return {ERROR_INVALID_PARAMETER, {}, false};
  std::u16string_view rest = *bounded;
  if (rest.ends_with(u'\\'))
    rest.remove_suffix(1);
  if (rest.empty() && !bounded->empty())
    return {ERROR_INVALID_PARAMETER, {}, false};
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(u'\\'), rest.size());
    if (!IsKeyName(rest.substr(0, end)))
      return {ERROR_INVALID_PARAMETER, {}, false};
    found.path.append(u"\\").append(rest.substr(0, end));
    found.predefined = false;
    if (end + 1 == rest.size())
      return {ERROR_INVALID_PARAMETER, {}, false};
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  if (static_cast<size_t>(std::count(found.path.begin(), found.path.end(), u'\\')) >=
      kMaxRegistryDepth)
    return {ERROR_INVALID_PARAMETER, {}, false};
  return found;
}

LONG GiveHandle(const std::u16string& path, HKEY* result) {
  void* handle = OpenHandle(HandleKind::Key, std::make_shared<OpenKey>(path));
  if (handle == nullptr)
    return ERROR_NOT_ENOUGH_MEMORY;
  *result = static_cast<HKEY>(handle);
  return ERROR_SUCCESS;
}

// A predefined key is there even when nothing was ever written below it.
const RegistryKey kEmptyKey{};

// Runs `use` on the key behind a handle.
template <typename Use>
LONG ReadKey(HKEY key, const Use& use) {
  const KeyPath path = PathOf(key);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  return ReadRegistry([&](const RegistryKey& root) {
    const RegistryKey* found = root.FindPath(path.path);
    if (found == nullptr && !path.predefined)
      return LONG{ERROR_KEY_DELETED};
    return use(found != nullptr ? *found : kEmptyKey);
  });
}

std::optional<std::u16string_view> ValueName(LPCWSTR name) {
  if (name == nullptr)
    return std::u16string_view();
  return BoundedText(name, kMaxRegistryName + 1);
}

LONG Open(HKEY key, LPCWSTR subKey, HKEY* result) {
  if (result == nullptr)
    return ERROR_INVALID_PARAMETER;
  const KeyPath parent = PathOf(key);
  const KeyPath path = PathBelow(key, subKey);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  const LONG found = ReadRegistry([&](const RegistryKey& root) {
    if (!parent.predefined && root.FindPath(parent.path) == nullptr)
      return LONG{ERROR_KEY_DELETED};
    return root.FindPath(path.path) != nullptr || path.predefined ? LONG{ERROR_SUCCESS}
                                                                  : LONG{ERROR_FILE_NOT_FOUND};
  });
  return found != ERROR_SUCCESS ? found : GiveHandle(path.path, result);
}

LONG Create(HKEY key, LPCWSTR subKey, HKEY* result, DWORD* disposition) {
  if (result == nullptr)
    return ERROR_INVALID_PARAMETER;
  const KeyPath parent = PathOf(key);
  const KeyPath path = PathBelow(key, subKey);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  bool made = false;
  const auto isThere = [&](const RegistryKey& root) {
    if (!parent.predefined && root.FindPath(parent.path) == nullptr)
      return LONG{ERROR_KEY_DELETED};
    return path.predefined || root.FindPath(path.path) != nullptr ? LONG{ERROR_SUCCESS}
                                                                  : LONG{ERROR_FILE_NOT_FOUND};
  };
  // Mostly the key is there, and then no lock is taken and nothing written.
  LONG outcome = ReadRegistry(isThere);
  if (outcome == ERROR_FILE_NOT_FOUND) {
    outcome = ChangeRegistry([&](RegistryKey& root, bool& changed) {
      const LONG now = isThere(root);
      if (now != ERROR_FILE_NOT_FOUND)
        return now;
      root.MakePath(path.path, made);
      changed = made;
      return LONG{ERROR_SUCCESS};
    });
  }
  if (outcome == ERROR_SUCCESS)
    outcome = GiveHandle(path.path, result);
  if (outcome == ERROR_SUCCESS && disposition != nullptr)
    *disposition = made ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  return outcome;
}

// The rules of type, size and data that reading and enumerating a value share.
LONG GiveValue(const RegistryValue& value, DWORD* type, BYTE* data, DWORD* byteCount) {
  if (type != nullptr)
    *type = value.type;
  const auto needed = static_cast<DWORD>(value.data.size());
  if (byteCount == nullptr)
    return ERROR_SUCCESS;
  const DWORD room = *byteCount;
  *byteCount = needed;
  if (data == nullptr)
    return ERROR_SUCCESS;
  if (room < needed)
    return ERROR_MORE_DATA;
  if (needed != 0)
    memcpy(data, value.data.data(), needed);
  return ERROR_SUCCESS;
}

LONG Query(HKEY key, LPCWSTR name, DWORD* type, BYTE* data, DWORD* byteCount) {
  if (data != nullptr && byteCount == nullptr)
    return ERROR_INVALID_PARAMETER;
  const auto valueName = ValueName(name);
  return ReadKey(key, [&](const RegistryKey& found) {
    // A name longer than any value's is that of no value.
    const RegistryValue* value = valueName ? found.FindValue(*valueName) : nullptr;
    return value != nullptr ? GiveValue(*value, type, data, byteCount) : LONG{ERROR_FILE_NOT_FOUND};
  });
}

LONG Set(HKEY key, LPCWSTR name, DWORD type, const BYTE* data, DWORD byteCount) {
  const KeyPath path = PathOf(key);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  const auto valueName = ValueName(name);
  if (!valueName || byteCount > kMaxRegistryData || (data == nullptr && byteCount != 0))
    return ERROR_INVALID_PARAMETER;
  const std::vector<uint8_t> bytes(data, data + byteCount);
  return ChangeRegistry([&](RegistryKey& root, bool& changed) {
    if (!path.predefined && root.FindPath(path.path) == nullptr)
      return LONG{ERROR_KEY_DELETED};
    RegistryKey& found = root.MakePath(path.path, changed);
    changed = found.SetValue({std::u16string(*valueName), type, bytes}) || changed;
    return LONG{ERROR_SUCCESS};
  });
}

// *nameSize: units of the buffer in, of the name without its terminator out.
LONG GiveName(std::u16string_view text, LPWSTR name, DWORD* nameSize) {
  if (*nameSize <= text.size())
    return ERROR_MORE_DATA;
  std::copy(text.begin(), text.end(), name);
  name[text.size()] = u'\0';
  *nameSize = static_cast<DWORD>(text.size());
  return ERROR_SUCCESS;
}

LONG EnumerateKeys(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, LPWSTR className,
                   DWORD* classSize, FILETIME* lastWritten) {
  if (name == nullptr || nameSize == nullptr)
    return ERROR_INVALID_PARAMETER;
  return ReadKey(key, [&](const RegistryKey& found) {
    if (index >= found.keys.size())
      return LONG{ERROR_NO_MORE_ITEMS};
    const LONG given = GiveName(found.keys[index]->name, name, nameSize);
    if (given != ERROR_SUCCESS)
      return given;
    // Classes and times of keys are not kept.
    if (className != nullptr && classSize != nullptr && *classSize > 0)
      className[0] = u'\0';
    if (classSize != nullptr)
      *classSize = 0;
    if (lastWritten != nullptr)
      *lastWritten = {};
    return given;
  });
}

LONG EnumerateValues(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD* type, BYTE* data,
                     DWORD* byteCount) {
  if (name == nullptr || nameSize == nullptr || (data != nullptr && byteCount == nullptr))
    return ERROR_INVALID_PARAMETER;
  return ReadKey(key, [&](const RegistryKey& found) {
    if (index >= found.values.size())
      return LONG{ERROR_NO_MORE_ITEMS};
    const RegistryValue& value = found.values[index];
    if (*nameSize <= value.name.size())
      return LONG{ERROR_MORE_DATA};
    const LONG given = GiveValue(value, type, data, byteCount);
    return given != ERROR_SUCCESS ? given : GiveName(value.name, name, nameSize);
  });
}

LONG DeleteKey(HKEY key, LPCWSTR subKey) {
  const KeyPath parent = PathOf(key);
  const KeyPath path = PathBelow(key, subKey);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  if (path.path == parent.path)
    return ERROR_INVALID_PARAMETER;
  return ChangeRegistry([&](RegistryKey& root, bool& changed) {
    if (!parent.predefined && root.FindPath(parent.path) == nullptr)
      return LONG{ERROR_KEY_DELETED};
    const size_t split = path.path.rfind(u'\\');
    RegistryKey* above = root.FindPath(std::u16string_view(path.path).substr(0, split));
    RegistryKey* deleted = above != nullptr ? above->FindKey(path.path.substr(split + 1)) : nullptr;
    if (deleted == nullptr)
      return LONG{ERROR_FILE_NOT_FOUND};
    std::erase_if(above->keys, [&](const auto& each) { return each.get() == deleted; });
    changed = true;
    return LONG{ERROR_SUCCESS};
  });
}

LONG DeleteValue(HKEY key, LPCWSTR name) {
  const KeyPath path = PathOf(key);
  if (path.problem != ERROR_SUCCESS)
    return path.problem;
  const auto valueName = ValueName(name);
  return ChangeRegistry([&](RegistryKey& root, bool& changed) {
    RegistryKey* found = root.FindPath(path.path);
    if (found == nullptr && !path.predefined)
      return LONG{ERROR_KEY_DELETED};
    RegistryValue* value = found != nullptr && valueName ? found->FindValue(*valueName) : nullptr;
    if (value == nullptr)
      return LONG{ERROR_FILE_NOT_FOUND};
    found->values.erase(found->values.begin() + (value - found->values.data()));
    changed = true;
    return LONG{ERROR_SUCCESS};
  });
}

LONG Close(HKEY key) {
  return PredefinedRoot(key) || DropHandle(key, HandleKind::Key) ? ERROR_SUCCESS
                                                                 : ERROR_INVALID_HANDLE;
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

LONG CEAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* result) {
  return HookedStatus(
      "RegOpenKeyExW", [&] { return Open(key, subKey, result); }, key, subKey, options, access);
}

LONG CEAPI RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved, LPWSTR className,
                           DWORD options, REGSAM access, LPSECURITY_ATTRIBUTES security,
                           HKEY* result, DWORD* disposition) {
  return HookedStatus(
      "RegCreateKeyExW", [&] { return Create(key, subKey, result, disposition); }, key, subKey,
      reserved, className, options, access, security, disposition);
}

LONG CEAPI RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                            DWORD* byteCount) {
  const DWORD room = byteCount != nullptr ? *byteCount : 0;
  return HookedStatus(
      "RegQueryValueExW", [&] { return Query(key, name, type, data, byteCount); }, key, name,
      reserved, room);
}

LONG CEAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data,
                          DWORD byteCount) {
  return HookedStatus(
      "RegSetValueExW", [&] { return Set(key, name, type, data, byteCount); }, key, name, reserved,
      type, byteCount);
}

LONG CEAPI RegCloseKey(HKEY key) {
  return HookedStatus(
      "RegCloseKey", [&] { return Close(key); }, key);
}

LONG CEAPI RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD*,
                         LPWSTR className, DWORD* classSize, FILETIME* lastWritten) {
  return HookedStatus(
      "RegEnumKeyExW",
      [&] { return EnumerateKeys(key, index, name, nameSize, className, classSize, lastWritten); },
      key, index);
}

LONG CEAPI RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameSize, DWORD*, DWORD* type,
                         BYTE* data, DWORD* byteCount) {
  return HookedStatus(
      "RegEnumValueW",
      [&] { return EnumerateValues(key, index, name, nameSize, type, data, byteCount); }, key,
      index);
}

LONG CEAPI RegDeleteKeyW(HKEY key, LPCWSTR subKey) {
  return HookedStatus(
      "RegDeleteKeyW", [&] { return DeleteKey(key, subKey); }, key, subKey);
}

LONG CEAPI RegDeleteValueW(HKEY key, LPCWSTR name) {
  return HookedStatus(
      "RegDeleteValueW", [&] { return DeleteValue(key, name); }, key, name);
}
