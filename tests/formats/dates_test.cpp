#include "dates.h"

#include <gtest/gtest.h>

namespace orb::formats {
namespace {

const struct {
  const char* text;
  const char* iso;  ///< null: no date
} kDates[] = {
    {"04/26/2017 11:05:11", "2017-04-26T11:05:11Z"},
    {"09/17/2012 13:41:07.0", "2012-09-17T13:41:07Z"},
    {" 9/7/2012  3:41:07.250 ", "2012-09-07T03:41:07.25Z"},
    {"26/04/2017 11:05", "2017-04-26T11:05:00Z"},
    {"13/04/2017", "2017-04-13T00:00:00Z"},
    {"12/04/2017", "2017-12-04T00:00:00Z"},
    {"04/26/17 11:05:11", "2017-04-26T11:05:11Z"},
    {"04/26/99", "1999-04-26T00:00:00Z"},
    {"26.04.2017 11:05:11", "2017-04-26T11:05:11Z"},
    {"05.04.2017", "2017-04-05T00:00:00Z"},
    {"01-Aug-2014 11:43:41", "2014-08-01T11:43:41Z"},
    {"1 august 2014 11:43:41", "2014-08-01T11:43:41Z"},
    {"2014/08/01 11:43:41", "2014-08-01T11:43:41Z"},
    {"2010-01-24T00:08:44.078Z", "2010-01-24T00:08:44.078Z"},
    {"2010-01-24T02:08:44+02:00", "2010-01-24T00:08:44Z"},
    {"04/26/2017 12:00:00 AM", "2017-04-26T00:00:00Z"},
    {"04/26/2017 12:30:00 PM", "2017-04-26T12:30:00Z"},
    {"04/26/2017 1:30:00,5 pm", "2017-04-26T13:30:00.5Z"},
    {"02/29/2024", "2024-02-29T00:00:00Z"},
    {"02/29/2023", nullptr},
    {"13/13/2017", nullptr},
    {"04/26/2017 24:00:00", nullptr},
    {"04/26/2017 13:30:00 PM", nullptr},
    {"04/26/2017 11:05:11 or so", nullptr},
    {"1-Foo-2014", nullptr},
    {"04-26-2017", nullptr},
    {"11:05:11", nullptr},
    {"yesterday", nullptr},
    {"", nullptr},
};

TEST(Dates, EachWayToPrintADateIsUnderstood) {
  for (const auto& date : kDates) {
    const auto time = parseDate(date.text);
    EXPECT_EQ(time ? time->toString() : "none", date.iso != nullptr ? date.iso : "none") << date.text;
  }
}

TEST(Dates, TheAmericanFormReadsBack) {
  const auto time = parseDate("2012-09-17T13:41:07.25Z");
  ASSERT_TRUE(time);
  EXPECT_EQ(americanDate(*time), "09/17/2012 13:41:07.25");
  EXPECT_EQ(parseDate(*americanDate(*time)), time);
  EXPECT_FALSE(americanDate({999'999'999'999, 0}));
}

const struct {
  const char* text;
  double seconds;  ///< below zero: none
} kDurations[] = {
    {"PT613S", 613},
    {"PT905.420S", 905.42},
    {"PT1H2M3.5S", 3723.5},
    {"P1DT1S", 86401},
    {"PT2M", 120},
    {"12.5", 12.5},
    {" PT0S ", 0},
    {"PT", -1},
    {"P", -1},
    {"", -1},
    {"PT-5S", -1},
    {"-5", -1},
    {"PT5S3M", -1},
    {"P1Y", -1},
    {"PT5", -1},
    {"5 min", -1},
    {"PTnanS", -1},
};

TEST(Dates, DurationsAreSecondsOrNothing) {
  for (const auto& duration : kDurations)
    EXPECT_EQ(parseDuration(duration.text).value_or(-1), duration.seconds) << duration.text;
}

}  // namespace
}  // namespace orb::formats
