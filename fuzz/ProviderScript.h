#pragma once

#include <map>
#include <vector>

#include "fuzz/FuzzBytes.h"
#include "platform/SyncProvider.h"

namespace wkt::fuzz {

// Plays an input as calls to the provider, as a service manager makes them that follows the
// interface and hands over whatever it allows: folders nobody knows, names without a terminator,
// objects that are not there, any bytes as a packet; and as an application that writes strange
// records meanwhile. The provider is a part of the program.
class ProviderScript {
 public:
  // Packets that are good, for the input to change.
  using Packets = std::vector<std::vector<uint8_t>>;

  ProviderScript(const uint8_t* data, size_t byteCount, const Packets& goodPackets);
  ~ProviderScript();
  ProviderScript(const ProviderScript&) = delete;
  ProviderScript& operator=(const ProviderScript&) = delete;

  void Play();

 private:
  struct Handler {
    IReplObjHandler* object = nullptr;
    ULONG references = 0;
    REPLSETUP reading = {};
    REPLSETUP writing = {};
    bool isReading = false;  // between Setup and Reset
    bool isWriting = false;
  };

  void PlayOne();
  void Initialise();
  void SetUp();
  void GetPacket();
  void SetPacket();
  void Reset();
  void Delete();
  void Find();
  void FinishList(int folder);
  void Notify();
  void DescribeFolder();
  void ReportOrAsk();
  void CountReferences();
  void WriteAsApplication();
  void ChangeAsApplication();
  void ReleaseAll();

  int FolderNumber();
  static void SetName(WCHAR (&field)[MAX_OBJTYPE_NAME], int folder);
  CEOID Object();
  void KnowObject(CEOID oid);
  std::vector<uint8_t> Packet();
  CEPROPVAL Value(std::u16string& text);
  Handler& AnyHandler();

  Bytes input;
  const Packets& good;
  std::vector<uint8_t> lastRead;
  std::vector<CEOID> objects;
  Handler handlers[3];
  std::map<int, FINDOBJINFO> lists;  // by folder, those not given back
};

}  // namespace wkt::fuzz
