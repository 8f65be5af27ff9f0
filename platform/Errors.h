// Win32 codes (GetLastError, registry functions), HRESULTs and the codes of the replication
// facility.
#pragma once

#include "platform/Types.h"

// LONG, so that they compare with the registry's results and with GetLastError alike.
constexpr LONG ERROR_SUCCESS = 0;
constexpr LONG NO_ERROR = 0;
constexpr LONG ERROR_FILE_NOT_FOUND = 2;
constexpr LONG ERROR_PATH_NOT_FOUND = 3;
constexpr LONG ERROR_ACCESS_DENIED = 5;
constexpr LONG ERROR_INVALID_HANDLE = 6;
constexpr LONG ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr LONG ERROR_OUTOFMEMORY = 14;
constexpr LONG ERROR_NO_MORE_FILES = 18;
constexpr LONG ERROR_WRITE_PROTECT = 19;
constexpr LONG ERROR_BAD_LENGTH = 24;
constexpr LONG ERROR_SEEK = 25;
constexpr LONG ERROR_WRITE_FAULT = 29;
constexpr LONG ERROR_READ_FAULT = 30;
constexpr LONG ERROR_GEN_FAILURE = 31;
constexpr LONG ERROR_SHARING_VIOLATION = 32;
constexpr LONG ERROR_NOT_SUPPORTED = 50;
constexpr LONG ERROR_DUP_NAME = 52;
constexpr LONG ERROR_FILE_EXISTS = 80;
constexpr LONG ERROR_INVALID_PARAMETER = 87;
constexpr LONG ERROR_DISK_FULL = 112;
constexpr LONG ERROR_INSUFFICIENT_BUFFER = 122;
constexpr LONG ERROR_INVALID_NAME = 123;
constexpr LONG ERROR_MOD_NOT_FOUND = 126;
constexpr LONG ERROR_PROC_NOT_FOUND = 127;
constexpr LONG ERROR_NEGATIVE_SEEK = 131;
constexpr LONG ERROR_DIR_NOT_EMPTY = 145;
constexpr LONG ERROR_ALREADY_EXISTS = 183;
constexpr LONG ERROR_BAD_EXE_FORMAT = 193;
constexpr LONG ERROR_FILENAME_EXCED_RANGE = 206;
constexpr LONG ERROR_NO_DATA = 232;
constexpr LONG ERROR_MORE_DATA = 234;
constexpr LONG ERROR_NO_MORE_ITEMS = 259;
constexpr LONG ERROR_DIRECTORY = 267;
constexpr LONG ERROR_NOT_OWNER = 288;
constexpr LONG ERROR_INVALID_FLAGS = 1004;
constexpr LONG ERROR_BADKEY = 1010;
constexpr LONG ERROR_KEY_DELETED = 1018;
constexpr LONG ERROR_KEY_HAS_CHILDREN = 1020;
constexpr LONG ERROR_DLL_INIT_FAILED = 1114;
constexpr LONG ERROR_NOT_FOUND = 1168;
constexpr LONG ERROR_INVALID_WINDOW_HANDLE = 1400;
constexpr LONG ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
// The databases' names for two of them.
constexpr LONG ERROR_DBPROP_NOT_FOUND = ERROR_ACCESS_DENIED;
constexpr LONG ERROR_REPEATED_KEY = ERROR_ALREADY_EXISTS;

constexpr HRESULT NOERROR = 0;
constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001);
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);

// Facility 20 is replication: 0x8014xxxx are errors, 0x0014xxxx warnings.
constexpr HRESULT RWRN_LAST_PACKET = 0x00140001;  // packet made, it is the object's last
constexpr HRESULT RERR_SHUT_DOWN = static_cast<HRESULT>(0x80140001);
constexpr HRESULT RERR_STORE_REPLACED = static_cast<HRESULT>(0x80140002);
constexpr HRESULT RERR_CANCEL = static_cast<HRESULT>(0x80140003);
constexpr HRESULT RERR_RESTART = static_cast<HRESULT>(0x80140004);
constexpr HRESULT RERR_IGNORE = static_cast<HRESULT>(0x80140005);
constexpr HRESULT RERR_UNLOAD = static_cast<HRESULT>(0x80140006);
constexpr HRESULT RERR_OBJECT_DELETED = static_cast<HRESULT>(0x80140007);
constexpr HRESULT RERR_CORRUPT = static_cast<HRESULT>(0x80140008);
constexpr HRESULT RERR_NO_DEVICE = static_cast<HRESULT>(0x80140009);
constexpr HRESULT RERR_NO_ERR_PROMPT = static_cast<HRESULT>(0x80140010);
constexpr HRESULT RERR_DISCARD = static_cast<HRESULT>(0x80140011);  // drop the device's object now
constexpr HRESULT RERR_DISCARD_LOCAL = static_cast<HRESULT>(0x80140012);  // drop the desktop's only
constexpr HRESULT RERR_VOL_INACTIVE = static_cast<HRESULT>(0x80140013);
constexpr HRESULT RERR_BIG_OBJ_TYPE = static_cast<HRESULT>(0x80140014);
constexpr HRESULT RERR_BIG_CODE = static_cast<HRESULT>(0x80140015);
constexpr HRESULT RERR_UNMATCHED = static_cast<HRESULT>(0x80140016);
constexpr HRESULT RERR_DEVICE_WIN = static_cast<HRESULT>(0x80140017);
constexpr HRESULT RERR_DESKTOP_WIN = static_cast<HRESULT>(0x80140018);
constexpr HRESULT RERR_SKIP_ALL_OBJ = static_cast<HRESULT>(0x80140019);
constexpr HRESULT RERR_SKIP_ALL =
    static_cast<HRESULT>(0x80140100);  // skip the object's further packets
constexpr HRESULT RERR_BAD_OBJECT =
    static_cast<HRESULT>(0x80140101);  // cannot be read, do not try again
constexpr HRESULT RERR_TRY_AGAIN = static_cast<HRESULT>(0x80140102);
constexpr HRESULT RERR_USER_SKIP = static_cast<HRESULT>(0x80140103);

// Whether a result is a success; warnings are.
#define SUCCEEDED(result) (static_cast<HRESULT>(result) >= 0)
#define FAILED(result) (static_cast<HRESULT>(result) < 0)
