/* fuzz_root.h - what every fuzz target leans on: a private system root laid
 * out once per process as "tarn init" lays one out and removed at exit, and
 * the split of one input into several texts. */
#ifndef TARN_FUZZ_ROOT_H
#define TARN_FUZZ_ROOT_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

typedef struct sqlite3_stmt sqlite3_stmt;

namespace tarnfuzz {

/* Makes the root below a fresh temp directory and points VURO_SYSROOT at
 * it; the directory goes again when the process exits. Aborts on failure:
 * a target without its root would fuzz nothing. */
void rootMake();
/* The file of a system path inside the root. */
std::string rootFile(const std::string& sysPath);
/* Runs SQL on the root's main database; aborts when it fails. */
void rootSql(const std::string& text);
/* Writes data to the file of a system path; setting the mtime to a fresh
 * second each time keeps readers with a parsed cache from mixing inputs. */
void rootFileWrite(const std::string& sysPath, const std::string& data);

/* Runs a prepared statement once with text as its one parameter, and
 * leaves it ready for the next; its result does not matter to a target. */
void stmtRunWith(sqlite3_stmt* stmt, const std::string& text);

/* The input cut at NUL bytes into at most n texts (the last keeps the
 * rest, NULs included, so that it still ends at the first of them). */
std::vector<std::string> inputSplit(const uint8_t* data, size_t size, size_t n);

}  // namespace tarnfuzz

#endif
