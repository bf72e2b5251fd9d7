/* vurocgi.h - the web sessions of this server, kept in one session file:
 * one JSON object a line, id first, with app, user, created, expires,
 * skip_check_ip, extra and webapi. Writers lock and replace the file;
 * readers take no lock and search it by the id in double quotes. */
#ifndef VUROCGI_H
#define VUROCGI_H

#include "vurocore.h"

#define VUROCGI_SESSION_DIR "/var/run/vurocgi"
#define VUROCGI_SESSION_FILE VUROCGI_SESSION_DIR "/sessions"

#ifdef __cplusplus
extern "C" {
#endif

/* Options a session is made with, before VuroCgiLoginNoAuth. */
typedef enum {
    CGI_OPT_SKIP_CHECK_IP = 1, /* int: 1 the session is not bound to an address */
    CGI_OPT_APP = 2,           /* const char*: the application it is for */
    CGI_OPT_DURATION = 3,      /* int: seconds it lives; -1 never expires */
    CGI_OPT_EXTRA = 4,         /* const char*: JSON text kept with it */
    CGI_OPT_WEBAPI = 5,        /* const char*: JSON text, what it may call */
} CGI_OPTION;

/* Fields a session can be found and removed by. */
typedef enum { INDEX_ID = 0, INDEX_APP = 1, INDEX_USER = 2, INDEX_EXTRA = 3 } CGI_INDEX;

typedef enum { LOGIN_FAILED = 0, LOGIN_SUCCESS = 1 } CGI_LOGIN_RESULT;

typedef struct _tag_cgi_login_params_ {
    const char* szUserName;
    const char* szPasswd;
    const char* szPamConfig;
    int allowUsers;
    BOOL bRememberMe;
} CGI_LOGIN_PARAMS;

typedef struct _tag_VuroCgi {
    /* The session file as a system path (the root is joined when it is
     * opened). */
    char szSessFile[256];
    int iSkipCheckIp;
    int iDuration;
    char* szApp;
    char* szExtra;
    char* szWebapi;
} VuroCgi;

/* Starts a handle on the session store; szQuery is reserved (""). */
VURO_EXPORT BOOL VuroCgiInit(const char* szQuery, VuroCgi* pCgi);
VURO_EXPORT void VuroCgiFree(VuroCgi* pCgi);
/* One option: an int for SKIP_CHECK_IP and DURATION, a const char* for the
 * others. FALSE for an unknown option or a NULL text. */
VURO_EXPORT BOOL VuroCgiSetOption(VuroCgi* pCgi, CGI_OPTION opt, ...);
/* Makes a session without a password from the options set before, and
 * writes its id (43 characters) into szToken. LOGIN_SUCCESS, or
 * LOGIN_FAILED (errno set) when the buffer is small or the store cannot be
 * written. */
VURO_EXPORT int VuroCgiLoginNoAuth(VuroCgi* pCgi, char* szToken, int cbToken,
                                   const CGI_LOGIN_PARAMS* pParams);
/* Removes every session whose field at index equals szText exactly. TRUE
 * when at least one went; FALSE when none matched or the store cannot be
 * written. */
VURO_EXPORT BOOL VuroCgiRemoveSessionByIndex(VuroCgi* pCgi, CGI_INDEX index, const char* szText);

#ifdef __cplusplus
}
#endif

#endif
