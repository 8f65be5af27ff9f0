// Structures of the property databases, with the device's layout on every target.
#pragma once

#include "platform/DatabaseConstants.h"

struct CEBLOB {
  DWORD dwCount;
  BYTE* lpb;
};

union CEVALUNION {
  SHORT iVal;
  USHORT uiVal;
  LONG lVal;
  ULONG ulVal;
  FILETIME filetime;
  LPWSTR lpwstr;
  CEBLOB blob;
  BOOL boolVal;
  alignas(8) double dblVal;  // 8 on x86 Linux too, as on a device
};

struct CEPROPVAL {
  CEPROPID propid;
  WORD wLenData;  // the system's own, ignored on input
  WORD wFlags;
  CEVALUNION val;
};
using PCEPROPVAL = CEPROPVAL*;

static_assert(sizeof(void*) != 4 ||
              (sizeof(CEBLOB) == 8 && sizeof(CEVALUNION) == 8 && sizeof(CEPROPVAL) == 16));
static_assert(offsetof(CEPROPVAL, wLenData) == 4 && offsetof(CEPROPVAL, wFlags) == 6);
static_assert(offsetof(CEPROPVAL, val) == 8);

struct SORTORDERSPEC {
  CEPROPID propid;
  DWORD dwFlags;
};

struct SORTORDERSPECEX {
  WORD wVersion;
  WORD wNumProps;  // 1..CEDB_MAXSORTPROP
  WORD wKeyFlags;  // 0 or CEDB_SORT_UNIQUE
  WORD wReserved;
  CEPROPID rgPropID[CEDB_MAXSORTPROP];
  DWORD rgdwFlags[CEDB_MAXSORTPROP];
};

// The oldest form of database information, still part of notifications.
struct CEDBASEINFO {
  DWORD dwFlags;
  WCHAR szDbaseName[CEDB_MAXDBASENAMELEN];
  DWORD dwDbaseType;
  WORD wNumRecords;
  WORD wNumSortOrder;
  DWORD dwSize;
  FILETIME ftLastModified;
  SORTORDERSPEC rgSortSpecs[CEDB_MAXSORTORDER];
};

struct CEDBASEINFOEX {
  WORD wVersion;
  WORD wNumSortOrder;
  DWORD dwFlags;
  WCHAR szDbaseName[CEDB_MAXDBASENAMELEN];
  DWORD dwDbaseType;
  DWORD dwNumRecords;
  DWORD dwSize;             // bytes
  FILETIME ftLastModified;  // UTC
  SORTORDERSPECEX rgSortSpecs[CEDB_MAXSORTORDER];
};

struct CEFILEINFO {
  DWORD dwAttributes;
  CEOID oidParent;
  WCHAR szFileName[MAX_PATH];
  FILETIME ftLastChanged;
  DWORD dwLength;
};

struct CEDIRINFO {
  DWORD dwAttributes;
  CEOID oidParent;
  WCHAR szDirName[MAX_PATH];
};

struct CERECORDINFO {
  CEOID oidParent;  // the database
};

// Beware: its first word is the type, in the extended form it is the version.
struct CEOIDINFO {
  WORD wObjType;
  WORD wPad;
  union {
    CEFILEINFO infFile;
    CEDIRINFO infDirectory;
    CEDBASEINFO infDatabase;
    CERECORDINFO infRecord;
  };
};

struct CEOIDINFOEX {
  WORD wVersion;
  WORD wObjType;
  union {
    CEFILEINFO infFile;
    CEDIRINFO infDirectory;
    CEDBASEINFOEX infDatabase;
    CERECORDINFO infRecord;
  };
};

// Where notices of a database's changes go; NULL for none.
struct CENOTIFYREQUEST {
  DWORD dwSize;
  HWND hwnd;
  DWORD dwFlags;
  HANDLE hHeap;
  DWORD dwParam;
};

static_assert(sizeof(SORTORDERSPEC) == 8 && sizeof(SORTORDERSPECEX) == 32);
static_assert(offsetof(SORTORDERSPECEX, rgPropID) == 8 &&
              offsetof(SORTORDERSPECEX, rgdwFlags) == 20);
static_assert(sizeof(CEDBASEINFO) == 120 && sizeof(CEDBASEINFOEX) == 220);
static_assert(offsetof(CEDBASEINFO, dwDbaseType) == 68 && offsetof(CEDBASEINFO, wNumRecords) == 72);
static_assert(offsetof(CEDBASEINFO, dwSize) == 76 && offsetof(CEDBASEINFO, ftLastModified) == 80);
static_assert(offsetof(CEDBASEINFO, rgSortSpecs) == 88);
static_assert(offsetof(CEDBASEINFOEX, dwFlags) == 4 && offsetof(CEDBASEINFOEX, szDbaseName) == 8);
static_assert(offsetof(CEDBASEINFOEX, dwDbaseType) == 72 &&
              offsetof(CEDBASEINFOEX, dwNumRecords) == 76);
static_assert(offsetof(CEDBASEINFOEX, dwSize) == 80 &&
              offsetof(CEDBASEINFOEX, ftLastModified) == 84);
static_assert(offsetof(CEDBASEINFOEX, rgSortSpecs) == 92);
static_assert(sizeof(CEFILEINFO) == 540 && sizeof(CEDIRINFO) == 528 && sizeof(CERECORDINFO) == 4);
static_assert(offsetof(CEFILEINFO, ftLastChanged) == 528 && offsetof(CEFILEINFO, dwLength) == 536);
static_assert(sizeof(CEOIDINFO) == 544 && offsetof(CEOIDINFO, infRecord) == 4);
static_assert(sizeof(CEOIDINFOEX) == 544 && offsetof(CEOIDINFOEX, wObjType) == 2);
static_assert(offsetof(CEOIDINFOEX, infDatabase) == 4);
static_assert(sizeof(void*) != 4 || sizeof(CENOTIFYREQUEST) == 20);
