/* cmd_passwd.cpp - "tarn passwd NAME": sets the password of one of the
 * root's users, read from standard input so that it never stands in the
 * process list; asked twice, without echo, on a terminal. */
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <string>

#include "cli.h"

namespace tarncli {

namespace {

/* One line of standard input without its newline; echo off on a terminal. */
std::string passwordRead(const char* szPrompt) {
    bool tty = isatty(STDIN_FILENO) == 1;
    struct termios saved;
    if (tty && tcgetattr(STDIN_FILENO, &saved) == 0) {
        struct termios quiet = saved;
        quiet.c_lflag &= ~(tcflag_t)ECHO;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
        fputs(szPrompt, stderr);
    } else {
        tty = false;
    }
    std::string line;
    int c;
    while ((c = getchar()) != EOF && c != '\n') line += (char)c;
    if (tty) {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
        fputc('\n', stderr);
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

}  // namespace

int cmdPasswd(const Args& args) {
    if (args.positional.size() != 1) throw UsageError{"passwd needs the user's name"};
    const std::string& name = args.positional[0];
    std::string password = passwordRead("New password: ");
    if (password.empty()) throw UsageError{"empty password (give it on standard input)"};
    if (isatty(STDIN_FILENO) == 1 && passwordRead("Again: ") != password) {
        throw UsageError{"the two passwords differ"};
    }
    int rc = VUROUserPasswordSet(name.c_str(), password.c_str());
    int err = errno;
    password.assign(password.size(), '\0');
    if (rc != 0) {
        if (err == ENOENT) fail("no user '" + name + "' in this root's passwd file");
        if (err == ENOTSUP) fail("this root has no user files of its own (etc/passwd)");
        if (err == EINVAL) throw UsageError{"a password of 1 to 1024 bytes, please"};
        fail(std::string("cannot store the password: ") + strerror(err));
    }
    Json::Value out(Json::objectValue);
    out["user"] = name;
    out["password_set"] = true;
    printJson(out);
    return 0;
}

}  // namespace tarncli
