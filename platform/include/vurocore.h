/* vurocore.h - the platform core operations libtarn calls: error store, string
 * hash and list, key-value files, processes, plug-ins and the system root.
 * This is a small, real stand-in for the platform's closed core library. */
#ifndef VUROCORE_H
#define VUROCORE_H

#include <stddef.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/types.h>

#ifdef __cplusplus
#include <string>
extern "C" {
#endif

#define VURO_EXPORT __attribute__((visibility("default")))

typedef int BOOL;
#ifndef FALSE
#define FALSE 0
#endif
#ifndef TRUE
#define TRUE 1
#endif

/* ---- error store: one code, file and line per process ---- */
typedef int VUROERR;
#define ERR_NOT_ENOUGH_MEMORY 0x0100
#define ERR_OUT_OF_MEMORY 0x0200
#define ERR_OPEN_FAILED 0x0900
#define ERR_WRITE_FAILED 0x0B00
#define ERR_BAD_PARAMETERS 0x0D00
#define ERR_KEY_NOT_FOUND 0x2000
#define ERR_NOT_ENOUGH_SPACE 0x2900
#define ERR_OP_FAILURE 0x2A00
#define ERR_VOLUME_NOT_FOUND 0x8300
#define ERR_SPACE_BUILDING_FOREGROUND 0xDD00

VURO_EXPORT void QLIBCErrSetEx(VUROERR code, const char* file, int line);
VURO_EXPORT VUROERR QLIBCErrGet(void);
VURO_EXPORT const char* QLIBCErrorGetFile(void);
VURO_EXPORT int QLIBCErrorGetLine(void);

/* ---- string hash: keys and values copied in, enumerated in insertion order ---- */
typedef struct _tag_qlib_sz_hash_ {
    int nSize;     /* initial size asked for; not a limit */
    int nItemHint; /* second size value, carried to hashes of the same kind */
    void* pImpl;
} QLIBSZHASH, *PQLIBSZHASH;

/* ---- string list: the caller reads nItem and pszItem directly ---- */
typedef struct _tag_qlib_sz_list_ {
    int nItem;
    char** pszItem;
    int nAlloc;
} QLIBSZLIST, *PQLIBSZLIST;

#define OP_SORTED 1

VURO_EXPORT PQLIBSZHASH QLIBCSzHashAlloc(int size);
VURO_EXPORT PQLIBSZHASH QLIBCIHashAllocator(int size, int itemHint);
VURO_EXPORT int QLIBCCopyHash(const PQLIBSZHASH from, PQLIBSZHASH to);
VURO_EXPORT void QLIBCSzHashFree(PQLIBSZHASH hash);
VURO_EXPORT int QLIBCSzHashSetValue(PQLIBSZHASH* pHash, const char* key, const char* value);
VURO_EXPORT const char* QLIBCSzHashGetValue(const PQLIBSZHASH hash, const char* key);
VURO_EXPORT int QLIBCSzHashRemoveKey(PQLIBSZHASH hash, const char* key);
VURO_EXPORT int QLIBCHashRemoveAll(PQLIBSZHASH hash);
VURO_EXPORT int QLIBCSzHashEnumKey(const PQLIBSZHASH hash, PQLIBSZLIST* pList);
VURO_EXPORT int QLIBCSzHashCount(const PQLIBSZHASH hash);

VURO_EXPORT PQLIBSZLIST QLIBCSzListAlloc(int size);
VURO_EXPORT void QLIBCSzListFree(PQLIBSZLIST list);
VURO_EXPORT int QLIBCSzListPush(PQLIBSZLIST* pList, const char* text);
VURO_EXPORT const char* QLIBCSzListGet(const PQLIBSZLIST list, int index);
VURO_EXPORT int QLIBCSzListRemoveAll(PQLIBSZLIST list);
VURO_EXPORT int QLIBCSzListSortItems(PQLIBSZLIST list, int op);

/* ---- key=value files; writes are atomic (temp file and rename) ---- */
VURO_EXPORT int QLIBCFileGetKeyValue(const char* file, const char* key, char* buf, int size,
                                     int flag);
VURO_EXPORT int QLIBCFileSetKeyValue(const char* file, const char* key, const char* value,
                                     int flag);
VURO_EXPORT BOOL QLIBCFileCheckKeyValue(const char* file, const char* key, const char* value,
                                        int flag);

/* ---- processes: fork and execv, never a shell ---- */
/* Runs argv[0] with argv, waits, and returns its exit status (0..255), or -1
 * when it could not be started or ended by a signal. */
VURO_EXPORT int QLIBCExec(const char* path, char* const argv[]);
VURO_EXPORT BOOL QLIBCProcAlive(pid_t pid);
VURO_EXPORT pid_t QLIBCProcFork(void);
/* Starts argv[0] (no shell) with its stdout readable through the returned
 * stream ("r") or its stdin writable ("w"); NULL when it cannot start. */
VURO_EXPORT FILE* QLIBCPopen(const char* path, char* const argv[], const char* mode);
/* Closes the stream, waits for the program; its exit status, or -1. */
VURO_EXPORT int QLIBCPclose(FILE* stream);

/* ---- section files: "[section]" lines and key="value" lines ---- */
/* Copies the value of key in section into szBuf (cut to cbBuf - 1 bytes);
 * its length, or -1 when the file, the section or the key is missing. The
 * parsed file is cached per path and kept while its size and mtime stay. */
VURO_EXPORT int QLIBCFileGetSectionValue(const char* szFile, const char* szSection,
                                         const char* szKey, char* szBuf, int cbBuf);

/* ---- string helpers ---- */
/* Pushes each non-empty token of szStr, split at any byte of szDelim, on
 * *ppList; the number of tokens pushed, or -1. */
VURO_EXPORT int QLIBCStrTok(const char* szStr, const char* szDelim, PQLIBSZLIST* ppList);
/* Token number index (from 0) of szStr split at any byte of szDelim, empty
 * tokens skipped, into szBuf; its length, or -1 when there is none. */
VURO_EXPORT int QLIBCStrTokIndex(const char* szStr, const char* szDelim, int index, char* szBuf,
                                 int cbBuf);
/* Cuts every byte of szChars off both ends of szStr, in place; szStr. */
VURO_EXPORT char* QLIBCStrTrim(char* szStr, const char* szChars);
/* Replaces every occurrence of szFrom by szTo, left to right, never
 * rescanning inserted text. The result goes to szOut, or back into szStr
 * when szOut is NULL, cut to cbSize - 1 bytes. The number of replacements,
 * or -1 on bad arguments. */
VURO_EXPORT int QLIBCStrReplace(char* szStr, const char* szFrom, const char* szTo, char* szOut,
                                int cbSize);

/* ---- system log service ---- */
#define LOG1_INFO 1
#define LOG1_WARN 2
#define LOG1_ERR 3
/* Hands one event to the system log, tagged with the acting user taken from
 * the environment variable USERNAME. 0, or -1 for a NULL text or an
 * unknown priority. */
VURO_EXPORT int VUROSyslogSend(int iFacility, int iPriority, const char* szText);

/* ---- plug-ins: "<dir>/<name>" executables run with PRE or POST ---- */
typedef enum { SDK_PLUGIN_PRE = 4, SDK_PLUGIN_POST = 5 } SDK_PLUGIN_ACTION;
typedef struct _tag_qlib_plugin_* PQLIBPLUGIN;
typedef PQLIBPLUGIN* PPQLIBPLUGIN;

VURO_EXPORT int QLIBPluginInit(const char* name, const PQLIBSZLIST dirs, int major, int minor,
                               PPQLIBPLUGIN ppPlugin);
VURO_EXPORT BOOL QLIBPluginHasInit(const PQLIBPLUGIN plugin);
VURO_EXPORT int QLIBPluginSetArg(PQLIBPLUGIN plugin, const char* key, const char* text);
VURO_EXPORT int QLIBPluginSetArgByInt(PQLIBPLUGIN plugin, const char* key, long long number);
VURO_EXPORT int QLIBPluginAction(SDK_PLUGIN_ACTION action, PQLIBPLUGIN plugin);
VURO_EXPORT int QLIBPluginExit(PQLIBPLUGIN plugin);

/* ---- users and groups: NSS, or the system root's passwd and group files
 * when $VURO_SYSROOT/etc/passwd exists ---- */
typedef struct _tag_vuro_user_ {
    char* szName; /* first field: the account name */
    uid_t pw_uid;
    gid_t pw_gid;
    char* szDir;
} VURO_USER, *PVURO_USER;

typedef struct _tag_vuro_group_ {
    char* szName; /* first field: the group name */
    gid_t gr_gid;
    PQLIBSZLIST pMembers; /* names of the listed members */
} VURO_GROUP, *PVURO_GROUP;

#define VURO_ADMIN_GROUP_NAME "administrators"

/* 0 and *ppUser set when found; negative and *ppUser NULL otherwise. */
VURO_EXPORT int VUROUserGetByUID(uid_t uid, PVURO_USER* ppUser);
VURO_EXPORT int VUROUserGet(const char* szName, PVURO_USER* ppUser);
VURO_EXPORT void VUROUserFree(PVURO_USER pUser);
VURO_EXPORT int VUROGroupGetByGID(gid_t gid, PVURO_GROUP* ppGroup);
VURO_EXPORT int VUROGroupGet(const char* szName, PVURO_GROUP* ppGroup);
VURO_EXPORT void VUROGroupFree(PVURO_GROUP pGroup);
/* uid and gid of a user by name; pGid may be NULL. 0, or negative. */
VURO_EXPORT int VUROUserGetUGID(const char* szName, uid_t* pUid, gid_t* pGid);
/* getgrouplist's contract: the primary group and every group that lists the
 * user; -1 with *ngroups set to the size needed when the array is small. */
VURO_EXPORT int VUROUserGroupList(const char* szUser, gid_t group, gid_t* groups, int* ngroups);
/* Splits "user@domain": the domain into szDomain and the user into szUser
 * (either buffer may be NULL). Positive on success, 0 when the name has no
 * at sign or an empty part, negative on bad arguments. */
VURO_EXPORT int VUROLDAPSplitName(const char* szName, char* szDomain, size_t cbDomain, char* szUser,
                                  size_t cbUser);
/* 1 when the user is a member of the administrators group (primary or
 * listed), 0 when not, -1 when the user is unknown. */
VURO_EXPORT int QLIBGroupIsAdminGroupMemByUid(uid_t uid, BOOL blReserved);

/* Stores a yescrypt hash of the password (fresh salt) as the user's line
 * of the root's shadow file (0600, one writer at a time). The user must be
 * one of the root's own users. 0, or -1 with errno: EINVAL for an empty or
 * overlong password, ENOENT for no such user, ENOTSUP when the root has no
 * user files of its own (the machine's shadow file is never written). */
VURO_EXPORT int VUROUserPasswordSet(const char* szName, const char* szPassword);
/* 1 when the password is the user's, 0 when not (no such user and no
 * password stored included, after the same work), -1 for bad arguments or
 * a root without user files. */
VURO_EXPORT int VUROUserPasswordCheck(const char* szName, const char* szPassword);

/* ---- BSD reallocf: frees the old block when growing fails ---- */
VURO_EXPORT void* reallocf(void* ptr, size_t size);

/* ---- system root ---- */
/* Writes the absolute system path szPath as seen under $VURO_SYSROOT into
 * szBuf (the path itself when the variable is unset or empty). A path that
 * already lies under the root is left as it is. ".." and symbolic links are
 * resolved as the kernel would; a path that then lies outside the root is
 * refused. Returns 0, or -1 with errno: EXDEV for a path that resolves
 * outside the root, ELOOP for a loop of links, ENAMETOOLONG when the buffer
 * is too small. */
VURO_EXPORT int VUROSysPath(const char* szPath, char* szBuf, size_t cbBuf);
/* flags of VUROSysPathEx: the last component is not followed when it is a
 * link, for callers that act on the link itself (unlink, lstat, replace). */
#define VURO_SYSPATH_NOFOLLOW 0x01
VURO_EXPORT int VUROSysPathEx(const char* szPath, char* szBuf, size_t cbBuf, int flags);

/* ---- serial numbers: first line of each file under the system root ---- */
#define VURO_SERIAL_PATH "/etc/vuro/serial"
#define VURO_CUSTOM_SERIAL_PATH "/etc/vuro/custom_serial"
/* The factory serial into szBuf; its length, or -1 (error store set) when
 * the file is missing or empty or the buffer too small. */
VURO_EXPORT int QLIBGetSerialNumber(char* szBuf, int cbBuf);
/* The custom serial; 0 and an empty text when the device has none, -1 when
 * it cannot be read or the buffer is too small. */
VURO_EXPORT int QLIBGetCustomSerialNumber(char* szBuf, int cbBuf);

/* ---- line search ---- */
/* Copies the first line of szFile (under the system root) that holds szKey
 * into szBuf, without its line end and cut at cbBuf - 1 bytes; its length,
 * 0 when no line holds the key, -1 with errno when the file cannot be read.
 * flag is reserved (0). */
VURO_EXPORT int QLIBCFileGetLine(const char* szFile, const char* szKey, char* szBuf, int cbBuf,
                                 int flag);

/* ---- the loopback guard: every network stand-in asks it before sending ----
 * With VURO_NET_LOOPBACK_ONLY=1 a destination outside 127.0.0.0/8 and ::1
 * is refused: -1, errno EACCES and a "destination refused" line. 0 when
 * allowed (always, without the variable). */

VURO_EXPORT int VURONetDestinationCheck(const struct sockaddr* addr, socklen_t len);
/* The same for an address text; a host name passes (its address is judged
 * when the connection is made). */
VURO_EXPORT int VURONetDestinationCheckHost(const char* szHost);

#ifdef __cplusplus
}
/* C++ convenience over VUROSysPathEx: the joined path, or "" (errno set)
 * when it is refused. A relative path comes back as it is. */
VURO_EXPORT std::string VUROSysPathStr(const std::string& path, int flags = 0);

#include <functional>
#include <vector>

/* ---- a helper program under a time limit: plug-ins and the API runner ----
 * Runs argv[0] with argv and exactly the environment env (no shell), stdin
 * from /dev/null, no other inherited descriptor, default signals, in a
 * process group of its own. Every line it writes goes to onLine: 0 for
 * stdout, 1 for stderr, without the line end (a line past 1024 bytes comes
 * in pieces). At the limit it is killed with all it started. 1 with
 * *status when it ended in time, 0 when the limit passed, -1 when it could
 * not be started. */
using VUROProcLineFn = std::function<void(size_t, const std::string&)>;
VURO_EXPORT int VUROProcRunLimited(const std::vector<std::string>& argv,
                                   const std::vector<std::string>& env, long seconds,
                                   const VUROProcLineFn& onLine, int* status);
#endif

#endif
