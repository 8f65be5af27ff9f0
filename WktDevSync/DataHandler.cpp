#include "WktDevSync/DataHandler.h"

#include "WktCommon/Log.h"
#include "WktDevSync/FolderTable.h"
#include "platform/Kernel.h"

HRESULT CDataHandler::QueryInterface(REFIID /*riid*/, void** ppv) {
  if (ppv)
    *ppv = nullptr;
  return E_NOINTERFACE;
}

ULONG CDataHandler::AddRef() {
  return static_cast<ULONG>(InterlockedIncrement(&refCount));
}

ULONG CDataHandler::Release() {
  const LONG count = InterlockedDecrement(&refCount);
  if (count == 0)
    delete this;
  return static_cast<ULONG>(count);
}

HRESULT CDataHandler::Setup(PREPLSETUP pSetup) {
  const wkt::LogScope log("CDataHandler::Setup");
  if (!pSetup) {
    log.Write(wkt::kLogProgress, u"Folder type = '%s'", u"NULL");
    return S_OK;
  }
  const wkt::FolderName folder(pSetup->szObjType);
  log.Write(wkt::kLogProgress, u"Folder type = '%s'", folder.c_str());
  // Reads and writes may be under way at once, so each has its own.
  if (pSetup->fRead) {
    readSetup = pSetup;
    log.Write(wkt::kLogProgress, u"Read request");
  } else {
    writeSetup = pSetup;
    log.Write(wkt::kLogProgress, u"Write request");
  }
  return S_OK;
}

HRESULT CDataHandler::Reset(PREPLSETUP /*pSetup*/) {
  return S_OK;
}
