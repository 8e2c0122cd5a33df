#include "PosixErrors.h"

#include <cerrno>

#include "MacErrors.h"

namespace tessel::platform {

OSErr os_error_from_errno(int error_number) {
  switch (error_number) {
    case 0: return noErr;
    case ENOENT: return fnfErr;
    case ENOTDIR: return dirNFErr;
    case EACCES:
    case EPERM: return permErr;
    case EROFS: return vLckdErr;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return dskFulErr;
    case EBADF: return rfNumErr;
    case EEXIST: return dupFNErr;
    case EMFILE:
    case ENFILE: return tmfoErr;
    case ENAMETOOLONG: return bdNamErr;
    case ENOMEM: return memFullErr;
    case EISDIR: return notAFileErr;
    case EWOULDBLOCK:
    case EBUSY:
    case ETXTBSY: return fBsyErr;
    case EINVAL: return paramErr;
    case ENXIO:
    case ENODEV: return nsvErr;
    default: return ioErr;
  }
}

OSErr last_os_error() { return os_error_from_errno(errno); }

}  // namespace tessel::platform
