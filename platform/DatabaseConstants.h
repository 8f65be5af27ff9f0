// Identifiers and constants of the property databases.
#pragma once

#include "platform/Errors.h"
#include "platform/Types.h"

// Identifies a database, a record or a file; 0 is none. Never used again after its object is gone.
using CEOID = DWORD;
using PCEOID = CEOID*;
// High word: the application's number; low word: the type (CEVT_*). The whole number names the
// property.
using CEPROPID = DWORD;
using PCEPROPID = CEPROPID*;

// A volume. All zero: the object store; all ones: any volume.
struct CEGUID {
  DWORD Data1;
  DWORD Data2;
  DWORD Data3;
  DWORD Data4;
};
using PCEGUID = CEGUID*;

#define CREATE_SYSTEMGUID(guid) (*(guid) = CEGUID{0, 0, 0, 0})
#define CHECK_SYSTEMGUID(guid) \
  (((guid)->Data1 | (guid)->Data2 | (guid)->Data3 | (guid)->Data4) == 0)
#define CREATE_INVALIDGUID(guid) (*(guid) = CEGUID{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF})
#define CHECK_INVALIDGUID(guid) \
  (((guid)->Data1 & (guid)->Data2 & (guid)->Data3 & (guid)->Data4) == 0xFFFFFFFF)

static_assert(sizeof(CEGUID) == 16);

constexpr WORD OBJTYPE_INVALID = 0;
constexpr WORD OBJTYPE_FILE = 1;
constexpr WORD OBJTYPE_DIRECTORY = 2;
constexpr WORD OBJTYPE_DATABASE = 3;
constexpr WORD OBJTYPE_RECORD = 4;

constexpr WORD CEVT_I2 = 2;
constexpr WORD CEVT_I4 = 3;
constexpr WORD CEVT_R8 = 5;
constexpr WORD CEVT_BOOL = 11;
constexpr WORD CEVT_UI2 = 18;
constexpr WORD CEVT_UI4 = 19;
constexpr WORD CEVT_LPWSTR = 31;
constexpr WORD CEVT_FILETIME = 64;
constexpr WORD CEVT_BLOB = 65;

// CEPROPVAL.wFlags: out, the record lacks the property; in, remove it from the record.
constexpr WORD CEDB_PROPNOTFOUND = 0x0100;
constexpr WORD CEDB_PROPDELETE = 0x0200;

constexpr DWORD CEDB_AUTOINCREMENT = 0x00000001;  // open: each read moves to the next record
constexpr DWORD CEDB_ALLOWREALLOC = 0x00000001;   // read: the buffer may be (re)allocated

constexpr DWORD CEDB_SEEK_CEOID = 0x01;
constexpr DWORD CEDB_SEEK_BEGINNING = 0x02;
constexpr DWORD CEDB_SEEK_END = 0x04;
constexpr DWORD CEDB_SEEK_CURRENT = 0x08;
constexpr DWORD CEDB_SEEK_VALUESMALLER = 0x10;
constexpr DWORD CEDB_SEEK_VALUEFIRSTEQUAL = 0x20;
constexpr DWORD CEDB_SEEK_VALUEGREATER = 0x40;
constexpr DWORD CEDB_SEEK_VALUENEXTEQUAL = 0x80;

// CEDBASEINFOEX.dwFlags: which members count, and attributes of the database.
constexpr DWORD CEDB_VALIDNAME = 0x01;
constexpr DWORD CEDB_VALIDTYPE = 0x02;
constexpr DWORD CEDB_VALIDSORTSPEC = 0x04;
constexpr DWORD CEDB_VALIDMODTIME = 0x08;
constexpr DWORD CEDB_VALIDDBFLAGS = 0x10;
constexpr DWORD CEDB_VALIDCREATE =
    CEDB_VALIDNAME | CEDB_VALIDTYPE | CEDB_VALIDSORTSPEC | CEDB_VALIDDBFLAGS;
constexpr DWORD CEDB_NOCOMPRESS = 0x00010000;
constexpr DWORD CEDB_SYSTEMDB = 0x00020000;

constexpr DWORD CEDB_SORT_DESCENDING = 0x001;
constexpr DWORD CEDB_SORT_CASEINSENSITIVE = 0x002;
constexpr DWORD CEDB_SORT_UNKNOWNFIRST = 0x004;  // records without the property first, not last
constexpr DWORD CEDB_SORT_GENERICORDER = 0x008;
constexpr DWORD CEDB_SORT_IGNORENONSPACE = 0x010;
constexpr DWORD CEDB_SORT_IGNORESYMBOLS = 0x020;
constexpr DWORD CEDB_SORT_IGNOREKANATYPE = 0x040;
constexpr DWORD CEDB_SORT_IGNOREWIDTH = 0x080;
constexpr DWORD CEDB_SORT_STRINGSORT = 0x100;
constexpr DWORD CEDB_SORT_UNIQUE = 0x200;   // in wKeyFlags
constexpr DWORD CEDB_SORT_NONNULL = 0x400;  // every record must have the property

constexpr int CEDB_MAXDBASENAMELEN = 32;  // characters with the terminator
constexpr int CEDB_MAXSORTORDER = 4;      // per database
constexpr int CEDB_MAXSORTPROP = 3;       // per sort order
constexpr DWORD CEDB_MAXDATABLOCKSIZE = 4092;
constexpr DWORD CEDB_MAXPROPDATASIZE = CEDB_MAXDATABLOCKSIZE * 16 - 1;  // bytes per property
constexpr DWORD CEDB_MAXRECORDSIZE = 128 * 1024;
constexpr DWORD CEDB_MAXNUMRECORDS = 0xFFFF;

constexpr WORD CEDBASEINFOEX_VERSION = 1;
constexpr WORD CEOIDINFOEX_VERSION = 1;
constexpr WORD SORTORDERSPECEX_VERSION = 1;
