/* vurofs.h - the platform's volumes, directories and shared folders: which
 * data volume has room, mkdir -p with an owner, touch, and a user's rights
 * on a share. Small, real stand-ins; every path is a system path resolved
 * below $VURO_SYSROOT (see VUROSysPath): a path that resolves outside the
 * root is refused with EXDEV. */
#ifndef VUROFS_H
#define VUROFS_H

#include <sys/types.h>


#include "vurocore.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- volumes ----
 * $VURO_SYSROOT/etc/vuro/volumes.conf lists the data volumes, one mount
 * point (a system path such as /volume1) per line, in order of preference.
 * A blank after the path followed by "ro" marks the volume read-only;
 * blank lines and lines starting with '#' are skipped. A listed mount point
 * whose directory does not exist is not a volume. Free space is statvfs's
 * f_bavail of the directory. */
#define VUROFS_VOLUMES_CONF "/etc/vuro/volumes.conf"

/* Bits of *pStatus after VolumeAvailGet. */
#define VOLUME_STATUS_FOUND 0x02    /* bit 1: a volume was found (pInfo is filled when room) */
#define VOLUME_STATUS_NO_SPACE 0x10 /* bit 4: volumes exist, none has minBytes free */

/* flag for VolumeAvailGet: a writable volume with room wins over a
 * read-only one listed before it. */
#define VOLUME_AVAIL_PREFER_WRITEABLE 0x01

typedef struct _tag_volume_info_ {
    char svi_mountpoint[4096]; /* system path, not below the root */
    int svi_writeable;         /* 0 when marked "ro" or mounted read-only */
    unsigned long long svi_avail_bytes;
    unsigned long long svi_total_bytes;
} VOLUME_INFO, *PVOLUME_INFO;

/* The first volume with at least minBytes available. Returns 0 and tells
 * through *pStatus: VOLUME_STATUS_FOUND with *pInfo filled; VOLUME_STATUS_FOUND
 * | VOLUME_STATUS_NO_SPACE when no volume has room; 0 when no volume is
 * listed. -1 for NULL arguments (ERR_BAD_PARAMETERS) or a list that exists
 * but cannot be read (ERR_OPEN_FAILED). */
VURO_EXPORT int VolumeAvailGet(unsigned long long minBytes, VOLUME_INFO* pInfo, int* pStatus,
                               int flag);

/* Pushes the mount point of every listed volume (read-only ones too, in the
 * list's order) on *ppList; the number pushed, or -1 as VolumeAvailGet. */
VURO_EXPORT int VolumeListGet(PQLIBSZLIST* ppList);

/* ---- directories and files ---- */
#define UID_ERR ((uid_t)-1)
#define GID_ERR ((gid_t)-1)

/* mkdir of path, with every missing parent when blRecursive. A directory
 * this call creates gets mode (umask not applied) and, unless uid and gid
 * are UID_ERR and GID_ERR, that owner; existing ones are left alone. 0, or
 * -1 with errno. pReserved must be NULL. */
VURO_EXPORT int VUROFSMkdirP(const char* path, const void* pReserved, BOOL blRecursive, uid_t uid,
                             gid_t gid, mode_t mode);

/* Creates the file (mode 0644) if absent and sets its mtime to now. 0, or
 * -1 with errno. */
VURO_EXPORT int QLIBCFileTouch(const char* path);

/* rm -rf of path: a directory with everything in it, or a file. A link,
 * the path itself or one inside the tree, is removed as a link and never
 * followed; a path whose parents lead out of the root is refused (EXDEV).
 * A missing path is no failure. 0, or -1 with errno of the first failure
 * (what could be removed is gone). */
VURO_EXPORT int VUROFSRemoveTree(const char* path);

/* ---- shared folders ----
 * $VURO_SYSROOT/etc/vuro/shares.json:
 *   {"shares": [{"name": "public", "path": "/volume1/public", "status": 0,
 *                "users": {"alice": "rw", "bob": "na"},
 *                "groups": {"staff": "ro"}}]}
 * "path" is a system path; "status" holds SHARE_STATUS_* bits; a right is
 * "ro", "rw" or "na" (no access). Users and groups are matched by name,
 * groups through the platform's user and group calls. */
#define VUROFS_SHARES_CONF "/etc/vuro/shares.json"

#define SHARE_STATUS_DISABLE 0x0001

/* Privilege words of VUROShareUserPrivGet. */
#define SHARE_PRIV_RO 0x01
#define SHARE_PRIV_RW 0x02
#define SHARE_PRIV_NA 0x04

typedef struct _tag_vuro_share_ {
    char* szName;
    char* szPath; /* system path of the shared folder */
    unsigned int status;
    PQLIBSZHASH pUserPriv;  /* user name -> "ro" | "rw" | "na" */
    PQLIBSZHASH pGroupPriv; /* group name -> "ro" | "rw" | "na" */
} VURO_SHARE, *PVURO_SHARE;

/* The share holding path: the one whose path is path itself or a parent of
 * it at a '/' boundary, the deepest when shares nest. Name and share path
 * are copied out (either buffer may be NULL). 0, or -1 when no share holds
 * it, the list cannot be read or a buffer is too small. */
VURO_EXPORT int VUROShareNamePathGet(const char* path, char* szShareName, int cbName,
                                     char* szSharePath, int cbPath);
/* 0 and *ppShare (free with VUROShareFree), or -1 and *ppShare NULL. */
VURO_EXPORT int VUROShareGet(const char* szName, PVURO_SHARE* ppShare);
VURO_EXPORT void VUROShareFree(PVURO_SHARE pShare);
/* The user's privilege word on the share from the user's own entry and
 * those of all the user's groups: "na" anywhere wins, then "rw", then "ro".
 * A user the system does not know has only the own entry. Never negative:
 * no entry at all or bad arguments give SHARE_PRIV_NA, so a caller's mask
 * test cannot grant by mistake. */
VURO_EXPORT int VUROShareUserPrivGet(const char* szUser, const PVURO_SHARE pShare);

#ifdef __cplusplus
}

#include <functional>
#include <string>

/* Changes a small file that several processes may write, losing none of
 * their changes: under an exclusive lock on the folder that holds it, reads
 * it ("" and exists false when there is none), lets change edit the text,
 * and replaces the file through a temp file, fsync and rename (mode and
 * owner kept; newMode for a new file). change returns false to leave the
 * file alone. 0 when written, 1 when change declined, -1 with errno.
 * strRealPath is a path already joined below the root; change must not
 * update another file of the same folder (it would wait on itself). */
VURO_EXPORT int VUROFSFileUpdate(const std::string& strRealPath, mode_t newMode,
                                 const std::function<bool(std::string& text, bool exists)>& change);
#endif

#endif
