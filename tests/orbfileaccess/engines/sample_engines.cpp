// Engines for the tests of sequences, all in one library.
#include "engine.h"

namespace {

constexpr ULONG kTrace = 0x2010006E;  // description of a step: each engine leaves a word there
constexpr ULONG kSequenceTitle = 0x20100005;

using orbengine::File;

}  // namespace

ORB_ENGINE Good(void* handle, USHORT step, void* third, void* fourth) {
  const bool are_null = third == nullptr && fourth == nullptr;
  return orbengine::run(handle, step, {}, [&](File& file) {
    orbengine::require(are_null, 1);
    file.setText(kTrace, "good", step > 0 ? step : USHORT{1});
  });
}

ORB_ENGINE ReturnsOne(void*, USHORT, void*, void*) {
  return 1;
}

ORB_ENGINE ReturnsServiceStatus(void*, USHORT, void*, void*) {
  return AIO_DISKFULL;
}

// Writes half of its results into two blocks, one of which was not there, and fails.
ORB_ENGINE WritesHalfAndFails(void* handle, USHORT step, void*, void*) {
  return orbengine::run(handle, step, {0x2006, 0x2008}, [](File& file) {
    file.renewBlock(0x2006);
    file.set(0x2006000C, 99, 1);
    file.setText(0x20080001, "Xx-1", 1);
    file.set(0x20060099, 1);  // no such parameter
  });
}

ORB_ENGINE Throws(void* handle, USHORT step, void*, void*) {
  return orbengine::run(handle, step, {}, [](File&) { throw 7; });
}

// Leaves a setting's value where it can be read: the options of the step decide what it is.
ORB_ENGINE ReportsThreshold(void* handle, USHORT step, void*, void*) {
  return orbengine::run(handle, step, {},
                        [](File& file) { file.setText(kSequenceTitle, std::to_string(file.number(0x20030005, -1))); });
}
