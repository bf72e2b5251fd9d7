/* reallocf.cpp - realloc that releases the old block when it cannot grow,
 * so "p = reallocf(p, n)" never leaks. */
#include "vurocore.h"

#include <stdlib.h>

void* reallocf(void* ptr, size_t size) {
    void* grown = realloc(ptr, size);
    // realloc(ptr, 0) may already have freed ptr and returned NULL; freeing
    // again would be a double free.
    if (grown == NULL && ptr != NULL && size != 0) {
        free(ptr);
    }
    return grown;
}
