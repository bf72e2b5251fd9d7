/* sysroot_int.h - the plain join of a system path below $VURO_SYSROOT,
 * without the check of where it leads: for callers that prove otherwise
 * that what they reach is what a checked join reached before. */
#ifndef VUROCORE_SYSROOT_INT_H
#define VUROCORE_SYSROOT_INT_H

#include <string>

/* The root prefixed to an absolute path (once); other paths as they are. */
std::string vuroSysPathJoin(const std::string& path);

#endif
