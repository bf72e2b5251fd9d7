/* fuzz_sql_condition.cpp - the condition text builder on arbitrary hashes:
 * key NUL value NUL key NUL value ..., into a buffer whose size the first
 * byte picks. */
#include <stdint.h>
#include <string.h>

#include <vector>

#include "fuzz_root.h"
#include "vurotarn.h"

using namespace tarnfuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    size_t cb = 1 + (size_t)data[0] * 17;
    std::vector<std::string> parts = inputSplit(data + 1, size - 1, 32);
    PQLIBSZHASH pHash = QLIBCSzHashAlloc(16);
    if (pHash == nullptr) return 0;
    for (size_t i = 0; i + 1 < parts.size(); i += 2) {
        if (parts[i].empty() && parts[i + 1].empty()) break;
        QLIBCSzHashSetValue(&pHash, parts[i].c_str(), parts[i + 1].c_str());
    }
    std::vector<char> sql(cb, 'x');
    if (VUROTARNSQLConditionCreate(pHash, sql.data(), cb) == 0 &&
        memchr(sql.data(), '\0', cb) == nullptr) {
        __builtin_trap();  // a text that is not ended inside its buffer
    }
    QLIBCSzHashFree(pHash);
    return 0;
}
