// A second process of a device: reads commands, one a line, does them and answers with one line
// each. It uses the device that WKT_DEVICE names and ends with its input.
#include <cstdint>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "host/control/Desk.h"
#include "host/control/DeskWindow.h"
#include "platform/Database.h"
#include "platform/Files.h"
#include "platform/Kernel.h"
#include "platform/Registry.h"

namespace {

std::u16string Wide(const std::string& text) {
  return {text.begin(), text.end()};
}

struct Peer {
  HANDLE mutex = nullptr;
  HANDLE file = nullptr;
  HANDLE database = nullptr;
  CEGUID volume{};
  std::unique_ptr<wkt::control::DeskWindow> window;

  std::string Do(const std::string& command, std::istringstream& words) {
    std::string name;
    uint32_t number = 0;
    if (command == "mutex") {
      words >> name >> number;
      mutex = CreateMutexW(nullptr, number != 0 ? TRUE : FALSE, Wide(name).c_str());
      return std::to_string(GetLastError());
    }
    if (command == "wait") {
      words >> number;
      return std::to_string(WaitForSingleObject(mutex, number));
    }
    if (command == "release")
      return std::to_string(ReleaseMutex(mutex));
    if (command == "close")
      return std::to_string(CloseHandle(mutex));
    if (command == "window") {
      words >> name;
      window = std::make_unique<wkt::control::DeskWindow>(Wide(name));
      return std::to_string(window->Problem());
    }
    if (command == "closewindow") {
      window.reset();
      return "ok";
    }
    if (command == "take") {
      words >> number;
      const auto message = window->Wait(number);
      return message ? std::to_string(message->message) + ' ' + std::to_string(message->wParam) +
                           ' ' + std::to_string(message->lParam)
                     : "none";
    }
    if (command == "file") {
      words >> name >> number;
      file =
          CreateFileW(Wide(name).c_str(), GENERIC_READ, number, nullptr, OPEN_ALWAYS, 0, nullptr);
      return file != INVALID_HANDLE_VALUE ? "ok" : std::to_string(GetLastError());
    }
    if (command == "set") {
      words >> name >> number;
      return std::to_string(SetValue(Wide(name), number));
    }
    if (command == "get") {
      words >> name;
      return GetValue(Wide(name));
    }
    if (command == "count") {
      // Counts up in the registry for ever, telling each number once it is stored.
      words >> name;
      for (uint32_t i = 1;; ++i) {
        if (SetValue(Wide(name), i) == ERROR_SUCCESS)
          std::cout << i << std::endl;
      }
    }
    if (command == "load") {
      words >> name;
      return LoadLibraryW(Wide(name).c_str()) != nullptr ? "ok" : std::to_string(GetLastError());
    }
    if (command == "mount") {
      words >> name >> number;
      return CeMountDBVol(&volume, Wide(name).data(), number) != FALSE
                 ? "ok"
                 : std::to_string(GetLastError());
    }
    if (command == "unmount")
      return std::to_string(CeUnmountDBVol(&volume));
    if (command == "database") {
      // Of the volume that was mounted, else of the object store.
      words >> name;
      CEOID oid = 0;
      database = CeOpenDatabaseEx2(&volume, &oid, Wide(name).data(), nullptr, 0, nullptr);
      return database != INVALID_HANDLE_VALUE ? "ok" : std::to_string(GetLastError());
    }
    if (command == "closedatabase")
      return std::to_string(CloseHandle(database));
    if (command == "time")
      return wkt::control::FormatIsoTime(wkt::control::DeviceTime());
    return "unknown";
  }

  static LONG SetValue(const std::u16string& name, uint32_t number) {
    HKEY key = nullptr;
    const LONG made = RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Peer", 0, nullptr, 0, KEY_ALL_ACCESS,
                                      nullptr, &key, nullptr);
    if (made != ERROR_SUCCESS)
      return made;
    const LONG set = RegSetValueExW(key, name.c_str(), 0, REG_DWORD,
                                    reinterpret_cast<const BYTE*>(&number), sizeof(number));
    RegCloseKey(key);
    return set;
  }

  static std::string GetValue(const std::u16string& name) {
    HKEY key = nullptr;
    LONG result = RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Peer", 0, KEY_READ, &key);
    uint32_t number = 0;
    DWORD count = sizeof(number);
    if (result == ERROR_SUCCESS) {
      result = RegQueryValueExW(key, name.c_str(), nullptr, nullptr,
                                reinterpret_cast<BYTE*>(&number), &count);
    }
    RegCloseKey(key);
    return result == ERROR_SUCCESS ? std::to_string(number) : "error " + std::to_string(result);
  }
};

}  // namespace

int main() {
  Peer peer;
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    std::cout << peer.Do(command, words) << std::endl;
  }
  return 0;
}
