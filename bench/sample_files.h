#pragma once
#include <string>
#include <vector>

#include "aiolib.h"
#include "orbparams.h"

/// Data files that the benchmarks work on.

/// Path in the folder of this run, which is made anew and removed at the end.
std::string samplePath(const std::string& name);

/// Ends the program when a call that must succeed does not.
void require(ULONG status, const char* what);

/// Those of headerCodes() that are doubles.
std::vector<ULONG> doubleCodes();

/// Codes of all header values: what a full data file holds besides its tables. The yardsticks hold as many values.
std::vector<ULONG> headerCodes();

/// A file with a value for each of headerCodes() and an integer spectrum.
void makeSampleFile(const std::string& path, ULONG channels);

constexpr unsigned kLibraryRecords = 50000;
/// Codes of the six numbers of a nuclide line.
constexpr ULONG kLineCodes[] = {ORB_D_NLENERGY,  ORB_D_NLENERGYUNC, ORB_D_NLPROB,
                                ORB_D_NLPROBUNC, ORB_D_NLHALFLIFE,  ORB_D_NLHALFLIFEUNC};
/// A nuclide library of kLibraryRecords lines.
void makeLibraryFile(const std::string& path);
