/* fileline.cpp - the first line of a text file that holds a given text, for
 * stores that keep one record a line and are searched without a parser.
 * The path goes through the system root like every other file. */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vurocore.h"

int QLIBCFileGetLine(const char* szFile, const char* szKey, char* szBuf, int cbBuf, int flag) {
    (void)flag;
    if (szFile == NULL || szKey == NULL || szBuf == NULL || cbBuf <= 0) {
        errno = EINVAL;
        return -1;
    }
    std::string path = VUROSysPathStr(szFile);
    if (path.empty()) return -1;
    FILE* fp = fopen(path.c_str(), "re");
    if (fp == NULL) return -1;
    char* line = NULL;
    size_t cap = 0;
    ssize_t len;
    int found = 0;
    while ((len = getline(&line, &cap, fp)) >= 0) {
        if (strstr(line, szKey) == NULL) continue;
        while (len > 0 && (line[len - 1] == '\n' || line[len - 1] == '\r')) len--;
        size_t n = (size_t)len < (size_t)cbBuf - 1 ? (size_t)len : (size_t)cbBuf - 1;
        memcpy(szBuf, line, n);
        szBuf[n] = '\0';
        // A found empty line would read as "none": such a line holds no key.
        found = (int)n;
        break;
    }
    int saved = errno;
    free(line);
    fclose(fp);
    errno = saved;
    return found;
}
