#include "host/control/Check.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "host/control/CheckStore.h"
#include "host/coredll/RegistryStore.h"
#include "host/coredll/Settings.h"
#include "host/coredll/Text.h"

namespace wkt::control {

namespace {

namespace fs = std::filesystem;

constexpr std::u16string_view kForbidden = u"\"*/:<>?\\|";

// Why a device does not see an entry of its file tree; empty when it does.
std::string WhyHidden(const fs::directory_entry& entry) {
  std::error_code ignored;
  if (entry.is_symlink(ignored))
    return "is a link";
  if (!entry.is_regular_file(ignored) && !entry.is_directory(ignored))
    return "is neither file nor folder";
  const auto name = host::FromUtf8(entry.path().filename().string());
  if (!name)
    return "has a name that is no UTF-8";
  const bool odd = std::any_of(name->begin(), name->end(), [](char16_t unit) {
    return unit < 0x20 || kForbidden.find(unit) != std::u16string_view::npos;
  });
  return odd ? "has a name that no device can make" : "";
}

void CheckTree(const fs::path& folder, std::vector<std::string>& findings) {
  std::error_code problem;
  std::set<fs::directory_entry> entries;
  for (fs::directory_iterator entry(folder, problem), end; !problem && entry != end;
       entry.increment(problem))
    entries.insert(*entry);
  if (problem)
    findings.push_back(folder.string() + ": " + problem.message());
  std::map<std::u16string, std::string> seen;
  for (const fs::directory_entry& entry : entries) {
    const std::string hidden = WhyHidden(entry);
    const std::string path = entry.path().string();
    if (!hidden.empty()) {
      findings.push_back(path);
      findings.back().append(": ").append(hidden).append(", the device does not see it");
      continue;
    }
    const std::u16string upper = host::UpperCase(*host::FromUtf8(entry.path().filename().string()));
    const auto [other, added] = seen.try_emplace(upper, path);
    if (!added)
      findings.push_back(path + ": differs from " + other->second + " in letter case only");
    std::error_code ignored;
    if (entry.is_directory(ignored)) {
      CheckTree(entry.path(), findings);
    } else if (LooksLikeVolume(path)) {
      const std::vector<std::string> inside = CheckVolume(path);
      findings.insert(findings.end(), inside.begin(), inside.end());
    }
  }
}

void CheckRegistry(const std::string& path, std::vector<std::string>& findings) {
  const auto text = host::ReadWholeFile(path);
  std::string error;
  if (!text) {
    findings.push_back(path + ": " + strerror(errno));
  } else if (!host::ParseRegistry(*text, error)) {
    findings.push_back(path + ": " + error);
  }
}

// Copies keys and values of one tree into another.
void Merge(const host::RegistryKey& from, host::RegistryKey& to, bool& changed) {
  for (const host::RegistryValue& value : from.values)
    changed = to.SetValue(value) || changed;
  for (const auto& key : from.keys)
    Merge(*key, to.MakePath(key->name, changed), changed);
}

std::string ErrorText(LONG error) {
  return "the registry cannot be used: error " + std::to_string(error);
}

}  // namespace

std::vector<std::string> CheckFolder(const std::string& folder) {
  std::vector<std::string> findings;
  std::string error;
  if (!host::ReadSettings(folder, error))
    findings.push_back(error);
  CheckRegistry(folder + "/registry", findings);
  std::error_code problem;
  if (!fs::is_directory(folder + "/files", problem)) {
    findings.push_back(folder + "/files: the file tree is missing");
  } else {
    CheckTree(folder + "/files", findings);
  }
  // Made at the first use of a database.
  if (fs::exists(folder + "/store.vol", problem)) {
    const std::vector<std::string> inside = CheckVolume(folder + "/store.vol");
    findings.insert(findings.end(), inside.begin(), inside.end());
  }
  for (const char* left : {"/registry.new", "/device.new"}) {
    if (fs::exists(folder + left, problem)) {
      findings.push_back(folder + left +
                         ": left by a process that was killed; the next change replaces it");
    }
  }
  return findings;
}

bool ExportRegistry(const std::string& path, std::string& text, std::string& error) {
  const auto wide = host::FromUtf8(path);
  const LONG result = host::ReadRegistry([&](const host::RegistryKey& root) {
    const host::RegistryKey* key = wide ? root.FindPath(*wide) : nullptr;
    if (key == nullptr)
      return LONG{ERROR_FILE_NOT_FOUND};
    if (wide->empty()) {
      text = host::FormatRegistry(root);
      return LONG{ERROR_SUCCESS};
    }
    // The key alone, below those that lead to it.
    host::RegistryKey part;
    bool ignored = false;
    Merge(*key, part.MakePath(*wide, ignored), ignored);
    text = host::FormatRegistry(part);
    return LONG{ERROR_SUCCESS};
  });
  if (result != ERROR_SUCCESS)
    error = result == ERROR_FILE_NOT_FOUND ? "no such key: " + path : ErrorText(result);
  return result == ERROR_SUCCESS;
}

bool ImportRegistry(const std::string& text, std::string& error) {
  const auto added = host::ParseRegistry(text, error);
  if (!added)
    return false;
  for (const auto& key : added->keys) {
    const std::string name = host::ToUtf8(key->name);
    if (name.rfind("HKEY_", 0) != 0) {
      error = "no root of the registry: " + name;
      return false;
    }
  }
  const LONG result = host::ChangeRegistry([&](host::RegistryKey& root, bool& changed) {
    Merge(*added, root, changed);
    return LONG{ERROR_SUCCESS};
  });
  if (result != ERROR_SUCCESS)
    error = ErrorText(result);
  return result == ERROR_SUCCESS;
}

}  // namespace wkt::control
