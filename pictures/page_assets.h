/// Texts that the build puts into the program, with the hashes by which a page names the scripts it runs.
#pragma once

namespace orb::plot::assets {

struct Asset {
  const char* text;
  const char* sha256;  ///< hexadecimal
};

extern const Asset kUplotScript;
extern const Asset kUplotStyle;
extern const Asset kUplotLicence;
extern const Asset kPageScript;
extern const Asset kPageStyle;

}  // namespace orb::plot::assets
