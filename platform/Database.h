// Property databases. A volume (the object store or a mounted file) holds databases by name and
// type, a database records, a record (identifier, value) pairs. Damaged data: ERROR_READ_FAULT.
#pragma once

#include "platform/DatabaseTypes.h"

CE_FUNCTIONS_BEGIN

// Mounts the volume file `path` (mode: CREATE_NEW .. TRUNCATE_EXISTING) or counts a mounted one up;
// *volume receives its GUID, untouched on failure, valid until unmounted. FALSE:
// ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED (create or truncate while mounted), ERROR_FILE_EXISTS,
// ERROR_DISK_FULL, ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY.
BOOL CEAPI CeMountDBVol(PCEGUID volume, LPWSTR path, DWORD mode);

// Counts down and unmounts at 0. FALSE with ERROR_INVALID_PARAMETER, also for the object store.
BOOL CEAPI CeUnmountDBVol(PCEGUID volume);

// Brings a volume's writes to the medium; NULL or the invalid GUID: all volumes. FALSE with
// ERROR_INVALID_PARAMETER.
BOOL CEAPI CeFlushDBVol(PCEGUID volume);

// Mounted volumes one after another: *volume in the one before (invalid GUID to start), out the
// next; `path` (of `unitCount` characters, may be NULL) receives its file. FALSE with
// ERROR_NO_MORE_ITEMS, ERROR_INSUFFICIENT_BUFFER.
BOOL CEAPI CeEnumDBVolumes(PCEGUID volume, LPWSTR path, DWORD unitCount);

// Starts an enumeration of databases of a type (0: any) on a volume; NULL or the invalid GUID: all
// volumes, object store included. The caller closes it with CloseHandle. INVALID_HANDLE_VALUE:
// ERROR_INVALID_PARAMETER (no such volume), ERROR_OUTOFMEMORY.
HANDLE CEAPI CeFindFirstDatabaseEx(PCEGUID volume, DWORD type);

// The next database's identifier, its volume untold. 0: ERROR_NO_MORE_ITEMS,
// ERROR_INVALID_PARAMETER (bad handle).
CEOID CEAPI CeFindNextDatabase(HANDLE enumeration);

// The same, telling the volume.
CEOID CEAPI CeFindNextDatabaseEx(HANDLE enumeration, PCEGUID volume);

// Describes a database or record of that volume; info->wVersion is 1 on entry. FALSE:
// ERROR_INVALID_HANDLE (no such object), ERROR_INVALID_PARAMETER.
BOOL CEAPI CeOidGetInfoEx2(PCEGUID volume, CEOID oid, CEOIDINFOEX* info);

// Makes a database from the members that info->dwFlags names. 0: ERROR_DUP_NAME, ERROR_DISK_FULL,
// ERROR_INVALID_PARAMETER (no name, versions, sort orders).
CEOID CEAPI CeCreateDatabaseEx2(PCEGUID volume, CEDBASEINFOEX* info);

// Changes the members that info->dwFlags names (name, type, sort orders, last change). FALSE:
// ERROR_INVALID_PARAMETER, ERROR_DUP_NAME, ERROR_FILE_NOT_FOUND, ERROR_SHARING_VIOLATION (open),
// ERROR_DISK_FULL.
BOOL CEAPI CeSetDatabaseInfoEx2(PCEGUID volume, CEOID oid, CEDBASEINFOEX* info);

// Deletes a database with its records. FALSE: ERROR_FILE_NOT_FOUND, ERROR_INVALID_PARAMETER,
// ERROR_SHARING_VIOLATION (open).
BOOL CEAPI CeDeleteDatabaseEx(PCEGUID volume, CEOID oid);

// Opens by *oid, or by name when *oid is 0 (it then receives the identifier; with the invalid GUID
// the name is looked for on all volumes). `sortOrder` NULL: the first one the database has, else by
// identifier. Stands on the first record. Closed with CloseHandle. INVALID_HANDLE_VALUE:
// ERROR_FILE_NOT_FOUND (database or sort order), ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY.
HANDLE CEAPI CeOpenDatabaseEx2(PCEGUID volume, PCEOID oid, LPWSTR name, SORTORDERSPECEX* sortOrder,
                               DWORD flags, CENOTIFYREQUEST* request);

// Moves the position and returns the record there. `value`: an identifier, a count from the
// beginning or back from the end, a signed distance, or a pointer to `valueCount` values, which
// only 32-bit machines can pass. *index (may be NULL) receives the place in the sort order. 0:
// ERROR_SEEK (no such record; position at the end), ERROR_INVALID_PARAMETER.
CEOID CEAPI CeSeekDatabaseEx(HANDLE database, DWORD seekType, DWORD value, WORD valueCount,
                             LPDWORD index);

// The same with one value.
CEOID CEAPI CeSeekDatabase(HANDLE database, DWORD seekType, DWORD value, LPDWORD index);

// Reads the record at the position, which then moves on if the handle auto-increments. `propIds`
// NULL: all properties, ascending; else *propCount of them, missing ones marked CEDB_PROPNOTFOUND.
// *buffer receives an array of CEPROPVAL and behind it what they point to. With CEDB_ALLOWREALLOC
// *buffer is NULL or from the heap (NULL: LocalAlloc), may change even on failure, and the caller
// frees it. *byteCount: size in, bytes used or needed out. Returns the record's identifier. 0:
// ERROR_NO_MORE_ITEMS (at the end), ERROR_KEY_DELETED, ERROR_NO_DATA (none of the wanted
// properties), ERROR_INSUFFICIENT_BUFFER, ERROR_INVALID_PARAMETER, ERROR_NOT_ENOUGH_MEMORY.
CEOID CEAPI CeReadRecordPropsEx(HANDLE database, DWORD flags, LPWORD propCount, CEPROPID* propIds,
                                LPBYTE* buffer, LPDWORD byteCount, HANDLE heap);

// Makes a record (oid 0) or changes just the given properties of one; CEDB_PROPDELETE removes a
// property. Values are copied. Returns the record's identifier. 0: ERROR_INVALID_PARAMETER (no such
// record, no value, too long), ERROR_DBPROP_NOT_FOUND (a NONNULL sort property is missing),
// ERROR_REPEATED_KEY (UNIQUE), ERROR_DISK_FULL. Each call is one transaction.
CEOID CEAPI CeWriteRecordProps(HANDLE database, CEOID oid, WORD propCount, CEPROPVAL* values);

// FALSE with ERROR_INVALID_PARAMETER for a bad handle or record.
BOOL CEAPI CeDeleteRecord(HANDLE database, CEOID oid);

CE_FUNCTIONS_END
