/* sectionfile.cpp - "[section]" / key="value" files, the user interface's
 * string files among them. Each event log row looks up twenty files, so a
 * parsed copy of each file is kept and reused while its size and mtime
 * stay the same. */
#include "vurocore.h"
#include "sysroot_int.h"

#include <string.h>
#include <sys/stat.h>

#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <unordered_map>

namespace {

struct Parsed {
    off_t size = -1;
    struct timespec mtime = {0, 0};
    dev_t dev = 0;
    ino_t ino = 0;
    // "section\0key" -> value
    std::unordered_map<std::string, std::string> values;
};

std::mutex gLock;
std::map<std::string, std::shared_ptr<const Parsed>> gCache;

std::string trim(const std::string& s) {
    const char* blanks = " \t\r";
    size_t b = s.find_first_not_of(blanks);
    if (b == std::string::npos) {
        return std::string();
    }
    size_t e = s.find_last_not_of(blanks);
    return s.substr(b, e - b + 1);
}

std::string compositeKey(const char* section, const char* key) {
    std::string k(section);
    k.push_back('\0');
    k.append(key);
    return k;
}

void parseInto(std::istream& in, Parsed* out) {
    std::string line;
    std::string section;
    while (std::getline(in, line)) {
        std::string t = trim(line);
        if (t.empty() || t[0] == ';' || t[0] == '#') {
            continue;
        }
        if (t[0] == '[') {
            size_t close = t.find(']');
            if (close != std::string::npos) {
                section = trim(t.substr(1, close - 1));
            }
            continue;
        }
        size_t eq = t.find('=');
        if (eq == std::string::npos) {
            continue;
        }
        std::string key = trim(t.substr(0, eq));
        std::string value = trim(t.substr(eq + 1));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
            value = value.substr(1, value.size() - 2);
        }
        // The first line of a key wins, as with the key=value files.
        out->values.emplace(compositeKey(section.c_str(), key.c_str()), value);
    }
}

bool sameFile(const Parsed& p, const struct stat& st) {
    return p.size == st.st_size && p.dev == st.st_dev && p.ino == st.st_ino &&
           p.mtime.tv_sec == st.st_mtim.tv_sec && p.mtime.tv_nsec == st.st_mtim.tv_nsec;
}

/* The parsed file of a system path. The root join, which checks that a
 * path stays inside the root, costs a lookup per component; twenty files a
 * log row pay it only when the file is not the very one (device, inode,
 * size, mtime) that a checked join led to before. */
std::shared_ptr<const Parsed> load(const std::string& sysPath) {
    const std::string joined = vuroSysPathJoin(sysPath);
    struct stat st;
    if (stat(joined.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        return nullptr;
    }
    {
        std::lock_guard<std::mutex> guard(gLock);
        auto it = gCache.find(joined);
        if (it != gCache.end() && sameFile(*it->second, st)) {
            return it->second;
        }
    }
    const std::string path = VUROSysPathStr(sysPath);
    if (path.empty() || stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        return nullptr;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return nullptr;
    }
    auto parsed = std::make_shared<Parsed>();
    parsed->size = st.st_size;
    parsed->mtime = st.st_mtim;
    parsed->dev = st.st_dev;
    parsed->ino = st.st_ino;
    parseInto(in, parsed.get());
    std::lock_guard<std::mutex> guard(gLock);
    gCache[joined] = parsed;
    return parsed;
}

}  // namespace

int QLIBCFileGetSectionValue(const char* szFile, const char* szSection, const char* szKey,
                             char* szBuf, int cbBuf) {
    if (szFile == NULL || szSection == NULL || szKey == NULL || szBuf == NULL || cbBuf <= 0) {
        return -1;
    }
    std::shared_ptr<const Parsed> parsed = load(szFile);
    if (!parsed) {
        return -1;
    }
    auto it = parsed->values.find(compositeKey(szSection, szKey));
    if (it == parsed->values.end()) {
        return -1;
    }
    size_t n = it->second.size();
    if (n > static_cast<size_t>(cbBuf - 1)) {
        n = static_cast<size_t>(cbBuf - 1);
    }
    memcpy(szBuf, it->second.data(), n);
    szBuf[n] = '\0';
    return static_cast<int>(n);
}
