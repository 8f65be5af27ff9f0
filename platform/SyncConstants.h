// Constants of the device side's synchronisation provider interface.
#pragma once

#include "platform/Errors.h"
#include "platform/Types.h"

constexpr int MAX_OBJTYPE_NAME = 100;      // characters with the terminator
constexpr DWORD MAX_PACKET_SIZE = 260000;  // bytes
constexpr int MAX_ACTIVE_VOL = 16;         // the object store included

// ObjectNotify: kinds of object, what happened, and calling again in two seconds (CALL_BACK is
// output).
constexpr UINT ONF_FILE = 0x001;
constexpr UINT ONF_DIRECTORY = 0x002;
constexpr UINT ONF_DATABASE = 0x004;
constexpr UINT ONF_RECORD = 0x008;
constexpr UINT ONF_CHANGED = 0x010;
constexpr UINT ONF_DELETED = 0x020;
constexpr UINT ONF_CLEAR_CHANGE = 0x040;
constexpr UINT ONF_CALL_BACK = 0x080;
constexpr UINT ONF_CALLING_BACK = 0x100;

// FindObjects: the provider has more lists; the manager is done with this one.
constexpr UINT FO_MORE_VOLUME = 0x1;
constexpr UINT FO_DONE_ONE_VOL = 0x2;

constexpr DWORD RSF_CONFLICT_OBJECT = 0x001;
constexpr DWORD RSF_NEW_OBJECT = 0x002;
constexpr DWORD RSF_DUPLICATED_OBJECT = 0x004;
constexpr DWORD RSF_COMBINE = 0x008;
constexpr DWORD RSF_SYNC_DEVICE_ONLY = 0x010;
constexpr DWORD RSF_SYNC_DESKTOP_ONLY = 0x020;
constexpr DWORD RSF_UPDATED_HANDLE = 0x040;
constexpr DWORD RSF_DISCARDED_OBJ = 0x080;
constexpr DWORD RSF_NEW_VOLUME = 0x100;
constexpr DWORD RSF_AUTO_COMBINE = 0x200;
constexpr DWORD RSF_RESERVED1 = 0x100000;
constexpr DWORD RSF_RESERVED2 = 0x200000;
constexpr DWORD RSF_RESERVED3 = 0x400000;
constexpr DWORD RSF_RESERVED4 = 0x800000;

// Parameter of RSC_BEGIN_SYNC.
constexpr UINT BSF_AUTO_SYNC = 1;
constexpr UINT BSF_REMOTE_SYNC = 2;
constexpr UINT BSF_SHOW_FATAL_ERRORS = 4;
constexpr UINT BSF_SHOW_RESOLVE_ERRORS = 8;
constexpr UINT BSF_RESERVED = 0x80000000;

// ReportStatus: an enumeration, not bits.
constexpr UINT RSC_BEGIN_SYNC = 1;
constexpr UINT RSC_END_SYNC = 2;
constexpr UINT RSC_BEGIN_CHECK = 3;
constexpr UINT RSC_END_CHECK = 4;
constexpr UINT RSC_DATE_CHANGED = 5;
constexpr UINT RSC_RELEASE = 6;
constexpr UINT RSC_REMOTE_SYNC = 7;
constexpr UINT RSC_INTERRUPT = 8;
constexpr UINT RSC_BEGIN_SYNC_OBJ = 9;
constexpr UINT RSC_END_SYNC_OBJ = 10;
constexpr UINT RSC_OBJ_TYPE_ENABLED = 11;
constexpr UINT RSC_OBJ_TYPE_DISABLED = 12;
constexpr UINT RSC_BEGIN_BATCH_WRITE = 13;
constexpr UINT RSC_END_BATCH_WRITE = 14;
constexpr UINT RSC_CONNECTION_CHG = 15;
constexpr UINT RSC_WRITE_OBJ_FAILED = 16;
constexpr UINT RSC_DELETE_OBJ_FAILED = 17;
constexpr UINT RSC_WRITE_OBJ_SUCCESS = 18;
constexpr UINT RSC_DELETE_OBJ_SUCCESS = 19;
constexpr UINT RSC_READ_OBJ_FAILED = 20;
constexpr UINT RSC_TIME_CHANGED = 21;
constexpr UINT RSC_BEGIN_BACKUP = 22;
constexpr UINT RSC_END_BACKUP = 23;
constexpr UINT RSC_BEGIN_RESTORE = 24;
constexpr UINT RSC_PREPARE_SYNC_FLD = 26;
