// ISO 8601 dates to the short date format, zones converted to the process's
// local time.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rules/RuleSync.h"
#include "tests/support/TimeZone.h"

namespace rotalis {
namespace {

std::string Failure(const std::string& iso) {
  try {
    return "converted to " + IsoDateToBrDate(iso);
  } catch (const std::exception& error) {
    return error.what();
  }
}

TEST(IsoDate, DatesAndDateTimesWithoutZoneKeepTheirDate) {
  test::UseTimeZone("Asia/Tokyo");  // a zone must not move a date that has none
  for (const char* iso :
       {"2026-01-31", "20260131", "2026-01-31T10:00:00", "2026-01-31T00:00",
        "2026-01-31 23:59:59.999999", "2026-01-31T23:59:59,5", "2026-01-31T08", "20260131T235959"})
    EXPECT_EQ(IsoDateToBrDate(iso), "31/01/2026") << iso;
  EXPECT_EQ(IsoDateToBrDate("0001-01-01"), "01/01/0001");
  EXPECT_EQ(IsoDateToBrDate("9999-12-31"), "31/12/9999");
  EXPECT_EQ(IsoDateToBrDate("2024-02-29"), "29/02/2024");
  EXPECT_EQ(IsoDateToBrDate("2000-02-29"), "29/02/2000");
  // 24:00 ends a day: it is the next day's midnight.
  EXPECT_EQ(IsoDateToBrDate("2026-01-31T24:00:00"), "01/02/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-12-31T24:00"), "01/01/2027");
}

TEST(IsoDate, ZonedTimesNearMidnightMoveToTheLocalDate) {
  test::UseTimeZone("America/Sao_Paulo");  // UTC-3, no summer time since 2019
  EXPECT_EQ(IsoDateToBrDate("2026-02-01T02:59:59.999Z"), "31/01/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-02-01T03:00:00Z"), "01/02/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-02-01T00:00:00+00:00"), "31/01/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-02-01 00:00:00+00"), "31/01/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-02-01T00:00:00-0300"), "01/02/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-01-31T22:00:00-05:00"), "01/02/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-02-01T11:59:00+14:00"), "31/01/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-01-01T02:00:00Z"), "31/12/2025");
  EXPECT_EQ(IsoDateToBrDate("2024-03-01T01:00:00Z"), "29/02/2024");

  test::UseTimeZone("Asia/Tokyo");  // UTC+9: the other direction
  EXPECT_EQ(IsoDateToBrDate("2026-01-31T14:59:59Z"), "31/01/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-01-31T15:00:00Z"), "01/02/2026");
  EXPECT_EQ(IsoDateToBrDate("2026-01-31T12:00:00-03:00"), "01/02/2026");
}

// The Windows build runs this same table: the dates are the same on both
// systems, whatever each system's own time functions reach.
TEST(IsoDate, SummerTimeAndTheEdgesOfTheCalendarGiveTheSameDates) {
  test::UseTimeZone("America/Sao_Paulo");
  // Between 02:00 and 03:00 UTC the date depends on the summer time (UTC-2)
  // being in force; its edges moved from year to year until 2019.
  const struct {
    const char* iso;
    const char* date;
  } cases[] = {
      {"2018-06-01T02:30:00Z", "31/05/2018"},  // winter
      {"2018-12-01T02:30:00Z", "01/12/2018"},  // summer
      {"2018-02-17T02:30:00Z", "17/02/2018"},  // its last night
      {"2018-02-18T02:30:00Z", "17/02/2018"},  // a summer that ended gave the hour back
      {"2018-11-04T02:30:00Z", "03/11/2018"},  // the hour before it began
      {"2018-11-05T02:30:00Z", "05/11/2018"},
      {"2019-01-01T01:30:00Z", "31/12/2018"},  // a summer carried over the new year
      {"2019-01-01T02:30:00Z", "01/01/2019"},
      {"2019-02-16T02:30:00Z", "16/02/2019"},
      {"2019-02-17T02:30:00Z", "16/02/2019"},  // after the last summer ended
      {"2019-11-10T02:30:00Z", "09/11/2019"},
      {"2010-01-01T02:30:00Z", "01/01/2010"},
      {"0001-01-01T12:00:00Z", "01/01/0001"},
      {"1900-01-01T12:00:00Z", "01/01/1900"},
      {"1969-12-31T12:00:00Z", "31/12/1969"},
      {"2038-01-19T03:14:08Z", "19/01/2038"},
      {"3000-12-31T23:59:59-03:00", "31/12/3000"},
      {"9999-12-31T00:00:00Z", "30/12/9999"},
      {"9999-12-31T23:59:59-03:00", "31/12/9999"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Failure(c.iso), std::string("converted to ") + c.date) << c.iso;
}

TEST(IsoDate, AnythingElseIsAnInvalidIsoDate) {
  test::UseTimeZone("America/Sao_Paulo");
  const std::vector<std::vector<std::string>> invalid = {
      {"", "2026", "2026-01", "2026-0131", "+2026-01-31", "null", "１２３４-01-01"},
      {"2026-13-01", "2026-00-10", "2026-01-00", "2026-02-30", "2023-02-29", "1900-02-29",
       "2026-04-31", "0000-01-01"},
      {"31/01/2026", "2026-1-31", "2026-01-1", "2026/01/31"},
      {"2026-01-31x", " 2026-01-31", "2026-01-31 ", "2026-01-31T", "2026-01-31T1",
       "2026-01-31T10:00:00.", "2026-01-31T10:00:00Zjunk", "2026-01-31T10:00:00 Z"},
      {"2026-01-31T25:00", "2026-01-31T10:60", "2026-01-31T10:00:61", "2026-01-31T24:00:01",
       "2026-01-31T24:30", "2026-01-31T24:00:00.5"},
      {"2026-01-31T10:00:00+24:00", "2026-01-31T10:00:00+03:60", "2026-01-31T10:00:00+3",
       "9999-12-31T23:00:00-05:00"}};
  for (const auto& group : invalid)
    for (const std::string& text : group)
      EXPECT_EQ(Failure(text), "Data ISO inválida") << "input: \"" << text << "\"";
}

}  // namespace
}  // namespace rotalis
