/// The libraries beside this one, by short names.
#pragma once

namespace orb::formats {}
namespace orb::plot {}
namespace orb::report {}

namespace com::norvale::measurement {

namespace formats = ::orb::formats;
namespace plot = ::orb::plot;
namespace report = ::orb::report;

}  // namespace com::norvale::measurement
