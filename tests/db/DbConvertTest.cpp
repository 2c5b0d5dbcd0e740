#include <gtest/gtest.h>

#include <clocale>

#include "db/DbConvert.h"
#include "platform/Exception.h"

namespace rotalis {
namespace {

TEST(PortFromSetting, ReadsAWholeNumberOrNothingAndRefusesTheRest) {
  EXPECT_EQ(PortFromSetting(""), 3306);
  EXPECT_EQ(PortFromSetting("3307"), 3307);
  for (const char* text : {"abc", "33o6", "3306.0", "99999999999", "1e3", " "}) {
    try {
      PortFromSetting(text);
      ADD_FAILURE() << text;
    } catch (const Exception& error) {
      EXPECT_EQ(error.what(), "'" + std::string(text) + "' is not a valid integer value");
    }
  }
}

TEST(ShortDate, ParsesDayMonthYearAndRejectsOtherDates) {
  EXPECT_EQ(db::ShortDateToSql("31/12/2026"), "2026-12-31");
  EXPECT_EQ(db::ShortDateToSql("1/2/2026"), "2026-02-01");
  EXPECT_EQ(db::ShortDateToSql("29/02/2024"), "2024-02-29");
  EXPECT_EQ(db::ShortDateToSql("01/01/0001"), "0001-01-01");
  EXPECT_EQ(db::ShortDateToSql("31/12/9999"), "9999-12-31");
  for (const char* text :
       {"29/02/2026", "12/31/2026x", "2026-12-31", "31/04/2026", "00/01/2026", "31/12/26", ""}) {
    EXPECT_THROW(db::ShortDateToSql(text), Exception) << text;
  }
  EXPECT_EQ(db::SqlDateToShort("2026-12-31"), "31/12/2026");
}

TEST(FormatFloat, IgnoresTheProcessLocale) {
  // The users' locale, whose decimal mark is a comma. Every machine that runs
  // the tests has it (scripts/install-deps.sh makes it on Linux).
#if defined(_WIN32)
  const char* const users = "Portuguese_Brazil.1252";
#else
  const char* const users = "pt_BR.UTF-8";
#endif
  ASSERT_NE(std::setlocale(LC_ALL, users), nullptr) << "no locale " << users;
  ASSERT_STREQ(std::localeconv()->decimal_point, ",");
  EXPECT_EQ(db::FormatFloat(1.23456), "1.23456");
  EXPECT_EQ(db::FormatFloat(-0.5), "-0.5");
  double value = 0;
  EXPECT_TRUE(db::ParseFloat("12.000", value));
  EXPECT_EQ(value, 12.0);
  EXPECT_FALSE(db::ParseFloat("12,5", value));
  std::setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace rotalis
