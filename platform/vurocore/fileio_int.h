/* fileio_int.h - whole-file reading shared inside the platform core. */
#ifndef VUROCORE_FILEIO_INT_H
#define VUROCORE_FILEIO_INT_H

#include <sys/stat.h>

#include <string>

namespace vurocore {

/* Appends the whole file to *text and fills *st; false with errno set
 * when it cannot be opened or read, or is a link (paths come joined). */
bool fileReadWhole(const std::string& path, std::string* text, struct stat* st);

}  // namespace vurocore

#endif
