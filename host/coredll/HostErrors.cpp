#include "host/coredll/HostErrors.h"

#include <cerrno>

namespace wkt::host {

LONG ErrorFromErrno(int problem) {
  switch (problem) {
    case 0:
      return ERROR_SUCCESS;
    case ENOENT:
      return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND;
    case EEXIST:
      return ERROR_ALREADY_EXISTS;
    case ENOTEMPTY:
      return ERROR_DIR_NOT_EMPTY;
    case EROFS:
      return ERROR_WRITE_PROTECT;
    case EACCES:
    case EPERM:
    case EISDIR:
    case ETXTBSY:
      return ERROR_ACCESS_DENIED;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return ERROR_DISK_FULL;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case ENAMETOOLONG:
      return ERROR_FILENAME_EXCED_RANGE;
    case EINVAL:
      return ERROR_INVALID_PARAMETER;
    default:
      return ERROR_GEN_FAILURE;
  }
}

}  // namespace wkt::host
