/* tarn_root.h - the layout of a system root, in one place: "tarn init" lays
 * out a root with it, and so do the fuzz targets and the benchmarks (the
 * tests and the demo run "tarn init" itself). What a root holds is the
 * tables of tarn_root.cpp: directories, data copied in, configuration
 * defaults and links to the helper tools. */
#ifndef TARN_ROOT_H
#define TARN_ROOT_H

#include <string>

namespace tarnroot {

/* The parts of a root. "tarn init" and the fuzz targets lay out all of
 * them; a benchmark only what the bare statements beside it have too. */
enum RootPart {
    kRootDirs = 1,      // the directories of the table
    kRootDatabase = 2,  // the main database with the root OU
    kRootData = 4,      // the data trees (UI texts) copied in
    kRootDefaults = 8,  // the configuration defaults
    kRootTools = 16,    // links to the helper tools
    kRootAll = 31,
};

/* Lays out the parts of the root $VURO_SYSROOT names (every path goes
 * through the root join): the directories, the main database from
 * dataDir/tarn_db.sql, the data trees of dataDir, the configuration
 * defaults not set yet, and a link to each helper tool found in toolDir
 * (none when toolDir is empty). Laying out a root twice keeps what it
 * holds. False, with the reason in *pErr, at the first step that failed. */
bool rootLayOut(const std::string& dataDir, const std::string& toolDir, std::string* pErr,
                int parts = kRootAll);

}  // namespace tarnroot

#endif
