// Searching the phone book by family name.
#include "account_world.h"
#include "orindb_contactdetail.h"
#include "orindb_dbaccess.h"

namespace {

using testing::HasSubstr;

class AccountSearch : public AccountWorld {};

TEST_F(AccountSearch, ContactsAreFoundByTheBeginningOfTheirFamilyName) {
    DbContext databases{};
    ContactDetail work{};
    ASSERT_EQ(orindb_openAllDbsWithDefaultNames(&databases, nullptr, 0), 0);
    ASSERT_EQ(_orindb_execDb(&databases, ORINDB_KONFIG,
                             "INSERT INTO Contact VALUES(5,4),(6,0),(7,1);"
                             "INSERT INTO ContactDetail VALUES(5,2,'O''Neill'),(5,3,'Ann O''Neill'),(5,12,'030 1'),"
                             "(5,14,'2'),(5,18,'3$'),(6,2,'Mö'||char(27)||'tz')",
                             nullptr, nullptr, "test"),
              0);
    ASSERT_EQ(orindb_createCtD(&databases, 7, 3, (std::string(127, 'n') + "ä").c_str(), &work), 0);
    orindb_closeAllDbs(&databases);

    EXPECT_EQ(shown({"search", "o'n"}),
              "ID  FAMILY NAME  NAME         NUMBERS\n"
              "5   O'Neill      Ann O'Neill  030 1, 2\n");
    EXPECT_EQ(shown({"search", "--", "-%"}), "ID  FAMILY NAME  NAME  NUMBERS\n");
    EXPECT_THAT(shown({"search", "m"}), HasSubstr("6   Mö?tz\n"));
    EXPECT_THAT(shown({"search", "@"}), HasSubstr("7                " + std::string(127, 'n') + '\n'));

    EXPECT_EQ(shown({"search", "--help"}), shown({"help", "search"}));
    EXPECT_THAT(shown({"help", "search"}), HasSubstr("usage: ct_account search [OPTION...] TEXT\n"));
    for (const auto& [arguments, reason] : std::vector<std::pair<std::vector<std::string>, const char*>>{
             {{"search"}, "TEXT is missing"},
             {{"search", "a", "b"}, "'b' is too much"},
             {{"search", "--group", "2", "a"}, "there is no option --group"},
         }) {
        const ProcessResult result = account(arguments);
        EXPECT_EQ(result.exitStatus, 2) << result;
        EXPECT_THAT(result.err, HasSubstr(reason));
    }
}

}  // namespace
