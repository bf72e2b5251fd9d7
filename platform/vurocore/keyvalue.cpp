/* keyvalue.cpp - "key=value" configuration files. Reads take the first line
 * of a key; writes go through VUROFSFileUpdate, so readers never see a
 * half-written file and two writers of different keys lose neither. */
#include "vurocore.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "fileio_int.h"
#include "vurofs.h"

namespace {

const char kBlanks[] = " \t";

struct Entry {
    std::string key;
    std::string value;
    bool quoted = false;
};

// Splits one line (without its '\n'); false when it holds no '='.
bool parseLine(const std::string& line, Entry* entry) {
    size_t eq = line.find('=');
    if (eq == std::string::npos) {
        return false;
    }
    std::string key = line.substr(0, eq);
    size_t keyBegin = key.find_first_not_of(kBlanks);
    size_t keyEnd = key.find_last_not_of(kBlanks);
    entry->key =
        keyBegin == std::string::npos ? std::string() : key.substr(keyBegin, keyEnd - keyBegin + 1);
    size_t valueBegin = line.find_first_not_of(kBlanks, eq + 1);
    entry->value = valueBegin == std::string::npos ? std::string() : line.substr(valueBegin);
    if (!entry->value.empty() && entry->value.back() == '\r') {
        entry->value.pop_back();
    }
    const std::string& v = entry->value;
    entry->quoted = v.size() >= 2 && v.front() == '"' && v.back() == '"';
    if (entry->quoted) {
        entry->value = v.substr(1, v.size() - 2);
    }
    return true;
}

// Calls fn(line, lineEnd) for each line; lineEnd is "\n" or "" for a last
// line without one. Stops early when fn returns false.
template <typename Fn>
void forEachLine(const std::string& text, Fn fn) {
    size_t pos = 0;
    while (pos < text.size()) {
        size_t nl = text.find('\n', pos);
        if (nl == std::string::npos) {
            fn(text.substr(pos), "");
            return;
        }
        if (!fn(text.substr(pos, nl - pos), "\n")) {
            return;
        }
        pos = nl + 1;
    }
}

// 1 with the value when the key is there, 0 when absent, -1 when unreadable.
int lookup(const char* file, const char* key, std::string* value) {
    if (file == NULL || key == NULL || key[0] == '\0') {
        return -1;
    }
    std::string text;
    struct stat st;
    if (!vurocore::fileReadWhole(VUROSysPathStr(file), &text, &st)) {
        return -1;
    }
    int found = 0;
    forEachLine(text, [&](const std::string& line, const char*) {
        Entry e;
        if (parseLine(line, &e) && e.key == key) {
            *value = e.value;
            found = 1;
        }
        return found == 0;
    });
    return found;
}

bool hasBlankEdge(const char* s) {
    size_t n = strlen(s);
    return n > 0 && (strchr(kBlanks, s[0]) != NULL || strchr(kBlanks, s[n - 1]) != NULL);
}

// The value as a line reads it back: quoted when leading blanks or a pair of
// outer quotes would otherwise be lost.
std::string formatLine(const char* key, const std::string& value, bool quoted) {
    bool needQuotes = quoted || (!value.empty() && strchr(kBlanks, value[0]) != NULL) ||
                      (value.size() >= 2 && value.front() == '"' && value.back() == '"');
    if (needQuotes) {
        return std::string(key) + "=\"" + value + "\"";
    }
    return std::string(key) + "=" + value;
}

}  // namespace

int QLIBCFileGetKeyValue(const char* file, const char* key, char* buf, int size, int /*flag*/) {
    if (buf == NULL || size <= 0) {
        return -1;
    }
    try {
        std::string value;
        int found = lookup(file, key, &value);
        if (found <= 0) {
            return found;
        }
        size_t n = value.size() < static_cast<size_t>(size) ? value.size() : size - 1;
        memcpy(buf, value.data(), n);
        buf[n] = '\0';
        // The full length, so a caller can tell its buffer cut the value.
        return static_cast<int>(value.size()) + 1;
    } catch (...) {
        return -1;
    }
}

int QLIBCFileSetKeyValue(const char* file, const char* key, const char* value, int /*flag*/) {
    // A key or value that could not be read back the same is refused.
    if (file == NULL || key == NULL || value == NULL || key[0] == '\0' ||
        strpbrk(key, "=\n") != NULL || hasBlankEdge(key) || strchr(value, '\n') != NULL) {
        return -1;
    }
    try {
        std::string path = VUROSysPathStr(file);
        if (path.empty()) {
            return -1;
        }
        int rc = VUROFSFileUpdate(path, 0644, [&](std::string& text, bool) {
            std::string out;
            bool replaced = false;
            forEachLine(text, [&](const std::string& line, const char* end) {
                Entry e;
                if (!replaced && parseLine(line, &e) && e.key == key) {
                    out += formatLine(key, value, e.quoted) + end;
                    replaced = true;
                } else {
                    out += line + end;
                }
                return true;
            });
            if (!replaced) {
                if (!out.empty() && out.back() != '\n') {
                    out += '\n';
                }
                out += formatLine(key, value, false) + "\n";
            }
            text.swap(out);
            return true;
        });
        return rc == 0 ? 0 : -1;
    } catch (...) {
        return -1;
    }
}

BOOL QLIBCFileCheckKeyValue(const char* file, const char* key, const char* value, int /*flag*/) {
    if (value == NULL) {
        return FALSE;
    }
    try {
        std::string found;
        return lookup(file, key, &found) == 1 && found == value ? TRUE : FALSE;
    } catch (...) {
        return FALSE;
    }
}
