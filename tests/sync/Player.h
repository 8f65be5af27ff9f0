#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/control/DeskWindow.h"
#include "platform/SyncProvider.h"
#include "tests/sync/Application.h"
#include "tests/sync/Script.h"

namespace wkt::test {

// Plays the commands of a script on the device in use: the service manager's side through the entry
// points of the installed library and the slots of its handlers, the application's through the
// databases.
//
// The application and the device
//   job daily|favorite NAME [id= title= comment= worktype= worknumber= persons= flags=]
//   type NAME [kind= id= name1= name2= comment= unused1= flags=]
//   edit NAME [during-sync] [fields]        show daily|favorite|types       remove NAME
//   registry DBVol TEXT        volume PATH  window open|close               messages
// The service manager
//   load                                    end                 (InitObjType without a folder)
//   init FOLDER PARTNER                     status CODE         query
//   find FOLDER        done FOLDER          info FOLDER [size=]
//   setup FOLDER read|write NAME            setup FOLDER new
//   get FOLDER                              put FOLDER [NAME] act|fac|type [fields] [cut=] [more=]
//   put FOLDER bytes=HEX                    reset FOLDER        delete FOLDER NAME
//   notify FOLDER NAME FLAG+FLAG [parent= object= volume=null|zero|other|PATH size=]
//   release FOLDER
class Player {
 public:
  Player() = default;
  ~Player();
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  // Answers of a command, each with "= " in front. Platform calls of the script's own are unwatched
  // (host/control/Calls.h); watched are those of the provider, and the call that loads it.
  std::vector<std::string> Play(const Command& command);
  // Whether a command is the application's or the device's, so that the provider has no part in it.
  [[nodiscard]] static bool IsOfTheApplication(const Command& command);
  // Gives back what is left of the lists and handlers.
  void ReleaseAll();
  // Then the library.
  void Unload();

 private:
  struct Folder {
    std::u16string name;
    std::string database;  // as the application calls it
    IReplObjHandler* handler = nullptr;
    REPLSETUP readSetup = {};
    REPLSETUP writeSetup = {};
    FINDOBJINFO found = {};
  };
  using Lines = std::vector<std::string>;

  Lines PlayApplication(const Command& command);
  Lines PlayManager(const Command& command);
  Lines PlayHandler(const Command& command);
  Lines Load();
  Lines Init(const Command& command);
  Lines Find(const Command& command, UINT flags);
  Lines Info(const Command& command);
  Lines Setup(const Command& command);
  Lines Get(const Command& command);
  Lines Put(const Command& command);
  Lines Delete(const Command& command);
  Lines Notify(const Command& command);
  Lines Release(Folder& folder);
  void GiveBackList(Folder& folder);
  Lines Query();
  Lines Window(const std::string& what);
  Lines Messages();
  Lines Registry(const Command& command);
  Folder& FolderOf(const Command& command);

  Application application;
  std::map<std::string, Folder> folders;
  std::unique_ptr<control::DeskWindow> window;
  HMODULE library = nullptr;
  InitObjTypeFunction initObjType = nullptr;
  ObjectNotifyFunction objectNotify = nullptr;
  GetObjTypeInfoFunction getObjTypeInfo = nullptr;
  ReportStatusFunction reportStatus = nullptr;
  FindObjectsFunction findObjects = nullptr;
  SyncDataFunction syncData = nullptr;
};

// The bytes of a packet as a desktop partner builds them, from the fields of a `put` command.
[[nodiscard]] std::vector<BYTE> BuildPacket(const Command& command);
// What a desktop partner reads out of a packet's bytes, in one line.
[[nodiscard]] std::string DescribePacket(const BYTE* bytes, DWORD byteCount, bool isType);

}  // namespace wkt::test
