/* fuzz_log_expand.cpp - the expansion of event log parameters: arbitrary
 * string file text and parameters through ParamGet, and the two reference
 * forms read on their own, each into buffers of exactly the size given. */
#include <stdint.h>

#include <vector>

#include "fuzz_root.h"
#include "vurotarn.h"

using namespace tarnfuzz;

namespace {

const char* const kStrings = "/var/packages/TARN/target/ui/texts/fuzz/strings";

void referencesRead(const std::string& text, int cb) {
    std::vector<char> sec(cb), key(cb), tpl(cb);
    CheckSectionKey_tpl1(text.c_str(), sec.data(), key.data(), cb);
    CheckSectionKey_tpl2(text.c_str(), sec.data(), key.data(), tpl.data(), cb);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rootMake();
    rootFileWrite("/var/packages/TARN/target/ui/texts/fuzz/.keep", "");
    return 0;
}

/* Input: string file text NUL parameter NUL parameter ... */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> parts = inputSplit(data, size, 5);
    rootFileWrite(kStrings, parts[0]);
    PQLIBSZLIST pParams = QLIBCSzListAlloc(8);
    if (pParams == nullptr) return 0;
    for (size_t i = 1; i < parts.size(); i++) {
        QLIBCSzListPush(&pParams, parts[i].c_str());
    }
    // The sizes the library uses, and a small one the input picks.
    const int small = 1 + (int)(size % 97);
    for (int i = 0; i < pParams->nItem; i++) {
        for (int cb : {4096, small}) {
            std::vector<char> val(cb);
            ParamGet(pParams, i, kStrings, val.data(), cb);
        }
        referencesRead(pParams->pszItem[i], 512);
        referencesRead(pParams->pszItem[i], small);
    }
    QLIBCSzListFree(pParams);
    return 0;
}
