// Finding, describing, making, opening and deleting databases.
#include <cstring>

#include "host/coredll/CallHook.h"
#include "host/coredll/StoreCatalogue.h"
#include "host/coredll/StoreCursor.h"
#include "host/coredll/StoreMounts.h"
#include "host/coredll/Text.h"
#include "platform/Database.h"

namespace wkt::host {

namespace {

class DatabaseEnumeration : public HandleObject {
 public:
  static constexpr HandleKind kKind = HandleKind::DatabaseEnum;
  struct Item {
    CEGUID volume;
    CEOID oid;
  };
  std::vector<Item> items;
  size_t next = 0;

  // The volume's databases of a type, as they are now.
  DWORD Add(StoreVolume& volume, DWORD type) {
    volume.Refresh();
    StoreCatalogue& catalogue = volume.Catalogue();
    if (const DWORD error = catalogue.Load(); error != ERROR_SUCCESS)
      return error;
    items.reserve(items.size() + catalogue.Databases().size());
    for (const auto& [oid, database] : catalogue.Databases()) {
      if (type == 0 || database->Row().type == type)
        items.push_back({volume.Guid(), oid});
    }
    return ERROR_SUCCESS;
  }
};

constexpr DWORD kAttributeFlags = CEDB_NOCOMPRESS | CEDB_SYSTEMDB;
constexpr DWORD kKnownInfoFlags = CEDB_VALIDCREATE | CEDB_VALIDMODTIME | kAttributeFlags;

bool Succeeded(DWORD error) {
  if (error == ERROR_SUCCESS)
    return true;
  SetError(error);
  return false;
}

// The volume's catalogue as it is now.
DWORD FindCatalogue(const CEGUID* guid, std::shared_ptr<StoreVolume>& volume) {
  if (const DWORD error = StoreMounts::Get().Find(guid, volume); error != ERROR_SUCCESS)
    return error;
  volume->Refresh();
  return volume->Catalogue().Load();
}

HANDLE FindFirst(const CEGUID* guid, DWORD type) {
  const StoreLock lock;
  auto enumeration = std::make_shared<DatabaseEnumeration>();
  const DWORD error = StoreMounts::Get().Each(
      guid,
      [&](const std::shared_ptr<StoreVolume>& volume) { return enumeration->Add(*volume, type); });
  if (!Succeeded(error))
    return INVALID_HANDLE_VALUE;
  const HANDLE handle = OpenHandle(HandleKind::DatabaseEnum, std::move(enumeration));
  if (handle != nullptr)
    return handle;
  SetError(ERROR_OUTOFMEMORY);
  return INVALID_HANDLE_VALUE;
}

CEOID FindNext(HANDLE handle, CEGUID* volume) {
  const StoreLock lock;
  const auto enumeration = FindHandle<DatabaseEnumeration>(handle);
  if (enumeration == nullptr || enumeration->next == enumeration->items.size()) {
    SetError(enumeration == nullptr ? ERROR_INVALID_PARAMETER : ERROR_NO_MORE_ITEMS);
    return 0;
  }
  const DatabaseEnumeration::Item& item = enumeration->items[enumeration->next++];
  if (volume != nullptr)
    *volume = item.volume;
  return item.oid;
}

void Describe(const StoreDatabase& database, CEDBASEINFOEX& info) {
  const CatalogueRow& row = database.Row();
  info = {};
  info.wVersion = CEDBASEINFOEX_VERSION;
  info.wNumSortOrder = static_cast<WORD>(row.sorts.size());
  info.dwFlags = row.flags | CEDB_VALIDNAME | CEDB_VALIDTYPE | CEDB_VALIDSORTSPEC |
                 CEDB_VALIDMODTIME | CEDB_VALIDDBFLAGS;
  database.Name().copy(info.szDbaseName, CEDB_MAXDBASENAMELEN - 1);
  info.dwDbaseType = row.type;
  info.dwNumRecords = row.recordCount;
  info.dwSize = static_cast<DWORD>(std::min<uint64_t>(row.byteCount, 0xFFFFFFFF));
  info.ftLastModified.dwLowDateTime = static_cast<DWORD>(row.modified);
  info.ftLastModified.dwHighDateTime = static_cast<DWORD>(row.modified >> 32);
  for (size_t index = 0; index < row.sorts.size(); ++index)
    info.rgSortSpecs[index] = row.sorts[index];
}

BOOL GetInfo(const CEGUID* guid, CEOID oid, CEOIDINFOEX* info) {
  const StoreLock lock;
  if (info == nullptr || info->wVersion != CEOIDINFOEX_VERSION)
    return Succeeded(ERROR_INVALID_PARAMETER);
  std::shared_ptr<StoreVolume> volume;
  if (!Succeeded(FindCatalogue(guid, volume)))
    return FALSE;
  if (const auto database = volume->Catalogue().Find(oid); database != nullptr) {
    Describe(*database, info->infDatabase);
    info->wObjType = OBJTYPE_DATABASE;
    return TRUE;
  }
  CEOID holder = 0;
  const DWORD error = volume->Catalogue().FindRecord(oid, holder);
  if (!Succeeded(error == ERROR_FILE_NOT_FOUND ? DWORD{ERROR_INVALID_HANDLE} : error))
    return FALSE;
  info->wObjType = OBJTYPE_RECORD;
  info->infRecord.oidParent = holder;
  return TRUE;
}

// The members of `info` that its flags name, into `row`.
DWORD TakeInfo(const CEDBASEINFOEX& info, CatalogueRow& row) {
  if (info.wVersion != CEDBASEINFOEX_VERSION || (info.dwFlags & ~kKnownInfoFlags) != 0)
    return ERROR_INVALID_PARAMETER;
  if ((info.dwFlags & CEDB_VALIDNAME) != 0) {
    std::u16string_view name(info.szDbaseName, CEDB_MAXDBASENAMELEN - 1);
    name = name.substr(0, name.find(u'\0'));
    if (name.empty() || name.back() == u'\\')
      return ERROR_INVALID_PARAMETER;
    row.name = ToUtf8(name);
  }
  if ((info.dwFlags & CEDB_VALIDTYPE) != 0)
    row.type = info.dwDbaseType;
  if ((info.dwFlags & CEDB_VALIDSORTSPEC) != 0) {
    if (info.wNumSortOrder > CEDB_MAXSORTORDER)
      return ERROR_INVALID_PARAMETER;
    row.sorts.assign(info.rgSortSpecs, info.rgSortSpecs + info.wNumSortOrder);
    for (const SORTORDERSPECEX& order : row.sorts) {
      if (const DWORD error = CheckSortOrder(order); error != ERROR_SUCCESS)
        return error;
    }
  }
  if ((info.dwFlags & CEDB_VALIDMODTIME) != 0) {
    row.modified =
        uint64_t{info.ftLastModified.dwHighDateTime} << 32 | info.ftLastModified.dwLowDateTime;
  }
  if ((info.dwFlags & CEDB_VALIDDBFLAGS) != 0)
    row.flags = info.dwFlags & kAttributeFlags;
  return ERROR_SUCCESS;
}

CEOID CreateDatabase(const CEGUID* guid, const CEDBASEINFOEX* info) {
  const StoreLock lock;
  if (info == nullptr || (info->dwFlags & CEDB_VALIDNAME) == 0) {
    SetError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  CatalogueRow row;
  std::shared_ptr<StoreVolume> volume;
  DWORD error = TakeInfo(*info, row);
  if (error == ERROR_SUCCESS)
    error = StoreMounts::Get().Find(guid, volume);
  CEOID oid = 0;
  if (error == ERROR_SUCCESS)
    error = volume->Catalogue().Create(std::move(row), oid);
  return Succeeded(error) ? oid : 0;
}

BOOL SetInfo(const CEGUID* guid, CEOID oid, const CEDBASEINFOEX* info) {
  const StoreLock lock;
  if (info == nullptr)
    return Succeeded(ERROR_INVALID_PARAMETER);
  std::shared_ptr<StoreVolume> volume;
  return Succeeded(StoreMounts::Get().Find(guid, volume)) &&
         Succeeded(volume->Catalogue().Change(
             oid, [info](CatalogueRow& row) { return TakeInfo(*info, row); }));
}

BOOL DeleteDatabase(const CEGUID* guid, CEOID oid) {
  const StoreLock lock;
  std::shared_ptr<StoreVolume> volume;
  return Succeeded(StoreMounts::Get().Find(guid, volume)) &&
         Succeeded(volume->Catalogue().Delete(oid));
}

struct Found {
  std::shared_ptr<StoreVolume> volume;
  std::shared_ptr<StoreDatabase> database;
};

// By identifier, or by name when `oid` is 0. With the invalid GUID by name on all volumes.
DWORD FindDatabase(const CEGUID* guid, CEOID oid, const WCHAR* name, Found& found) {
  const bool isAnyVolume = guid != nullptr && CHECK_INVALIDGUID(guid);
  const bool isByName = oid == 0 || isAnyVolume;
  if (guid == nullptr || (isByName && name == nullptr))
    return ERROR_INVALID_PARAMETER;
  std::string wanted;
  if (isByName) {
    const auto bounded = BoundedText(name, CEDB_MAXDBASENAMELEN);
    // A longer name was cut when the database was made.
    wanted = ToUtf8(bounded ? *bounded : std::u16string_view(name, CEDB_MAXDBASENAMELEN - 1));
  }
  const DWORD error =
      StoreMounts::Get().Each(guid, [&](const std::shared_ptr<StoreVolume>& volume) {
        if (found.database != nullptr)
          return DWORD{ERROR_SUCCESS};
        volume->Refresh();
        StoreCatalogue& catalogue = volume->Catalogue();
        if (const DWORD unread = catalogue.Load(); unread != ERROR_SUCCESS)
          return unread;
        found = {volume, isByName ? catalogue.Find(wanted) : catalogue.Find(oid)};
        return DWORD{ERROR_SUCCESS};
      });
  return error == ERROR_SUCCESS && found.database == nullptr ? DWORD{ERROR_FILE_NOT_FOUND} : error;
}

DWORD FindOrder(const StoreDatabase& database, const SORTORDERSPECEX* wanted, size_t& order) {
  order = 0;
  if (wanted == nullptr)
    return ERROR_SUCCESS;
  if (const DWORD error = CheckSortOrder(*wanted); error != ERROR_SUCCESS)
    return error;
  for (; order < database.Row().sorts.size(); ++order) {
    if (IsSameSortOrder(database.Row().sorts[order], *wanted))
      return ERROR_SUCCESS;
  }
  return ERROR_FILE_NOT_FOUND;
}

HANDLE OpenDatabase(const CEGUID* guid, CEOID* oid, const WCHAR* name, const SORTORDERSPECEX* order,
                    DWORD flags, const CENOTIFYREQUEST* request) {
  const StoreLock lock;
  DWORD error = ERROR_INVALID_PARAMETER;
  Found found;
  size_t orderIndex = 0;
  // Notifications are not part of this system.
  if (oid != nullptr && (flags & ~CEDB_AUTOINCREMENT) == 0 && request == nullptr)
    error = FindDatabase(guid, *oid, name, found);
  if (error == ERROR_SUCCESS)
    error = FindOrder(*found.database, order, orderIndex);
  if (!Succeeded(error))
    return INVALID_HANDLE_VALUE;
  auto cursor = std::make_shared<StoreCursor>(found.volume, found.database, orderIndex,
                                              (flags & CEDB_AUTOINCREMENT) != 0);
  const HANDLE handle = OpenHandle(HandleKind::Database, std::move(cursor));
  if (handle == nullptr) {
    SetError(ERROR_NOT_ENOUGH_MEMORY);
    return INVALID_HANDLE_VALUE;
  }
  *oid = found.database->Oid();
  return handle;
}

}  // namespace

}  // namespace wkt::host

using namespace wkt::host;

HANDLE CEAPI CeFindFirstDatabaseEx(PCEGUID volume, DWORD type) {
  return HookedCall(
      "CeFindFirstDatabaseEx", INVALID_HANDLE_VALUE, [&] { return FindFirst(volume, type); },
      volume, type);
}

CEOID CEAPI CeFindNextDatabase(HANDLE enumeration) {
  return HookedCall(
      "CeFindNextDatabase", CEOID{0}, [&] { return FindNext(enumeration, nullptr); }, enumeration);
}

CEOID CEAPI CeFindNextDatabaseEx(HANDLE enumeration, PCEGUID volume) {
  return HookedCall(
      "CeFindNextDatabaseEx", CEOID{0}, [&] { return FindNext(enumeration, volume); }, enumeration,
      volume);
}

BOOL CEAPI CeOidGetInfoEx2(PCEGUID volume, CEOID oid, CEOIDINFOEX* info) {
  return HookedCall(
      "CeOidGetInfoEx2", FALSE, [&] { return GetInfo(volume, oid, info); }, volume, oid, info);
}

CEOID CEAPI CeCreateDatabaseEx2(PCEGUID volume, CEDBASEINFOEX* info) {
  return HookedCall(
      "CeCreateDatabaseEx2", CEOID{0}, [&] { return CreateDatabase(volume, info); }, volume, info);
}

BOOL CEAPI CeSetDatabaseInfoEx2(PCEGUID volume, CEOID oid, CEDBASEINFOEX* info) {
  return HookedCall(
      "CeSetDatabaseInfoEx2", FALSE, [&] { return SetInfo(volume, oid, info); }, volume, oid, info);
}

BOOL CEAPI CeDeleteDatabaseEx(PCEGUID volume, CEOID oid) {
  return HookedCall(
      "CeDeleteDatabaseEx", FALSE, [&] { return DeleteDatabase(volume, oid); }, volume, oid);
}

HANDLE CEAPI CeOpenDatabaseEx2(PCEGUID volume, PCEOID oid, LPWSTR name, SORTORDERSPECEX* sortOrder,
                               DWORD flags, CENOTIFYREQUEST* request) {
  return HookedCall(
      "CeOpenDatabaseEx2", INVALID_HANDLE_VALUE,
      [&] { return OpenDatabase(volume, oid, name, sortOrder, flags, request); }, volume, oid, name,
      sortOrder, flags, request);
}
