#include <gmock/gmock.h>

#include "Program.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class CommandsTest : public ProgramTest {
 protected:
  CommandsTest() {
    succeed("new b --symbol € --wallet Purse");
    succeed("add b --kind category name=Food");
    succeed("add b date=2024-05-01 payee=Bakery amount=4.20 category=Food");
    succeed("add b date=2024-04-30 payee=Zoo amount=12");
    succeed("add b date=2024-05-02 'payee=Café \"Ö\", Ltd' amount=-3.5 memo=back");
  }
};

TEST_F(CommandsTest, BadInputIsOneLineAndChangesNothing) {
  const std::string id = listed("ID", "--where payee=Bakery").at(0);
  const std::string wallet = listed("ID", "--kind wallet").at(0);
  const std::string euro = listed("ID", "--kind currency").at(0);
  const std::string food = listed("ID", "--kind category").at(0);
  succeed("add b --kind category name=Bread parent=Food");
  Files::write(path("text"), "no database, but long enough to be looked at\n");
  Files::write(path("empty"), "");
  Files::write(path("bank.csv"), "date,amount\n2024-05-01,1\n2024-05-32,2\n");
  Files::write(path("latin.csv"), "date,amount,payee\n2024-05-01,1,Caf\xe9\n");
  Files::write(path("two-ways.csv"), "date;amount\n01/02/2024;1,234\n");
  succeed("new d");
  Files::copy(path("b"), path("e"));
  succeed("password e --new secret");
  const std::string before = Files::read(path("b"));
  struct Case {
    std::string line;
    const char* message;
  };
  for (const auto& [line, message] :
       std::vector<Case>{{"", "subcommand"},
                         {"list nowhere", "No such file"},
                         {"list text", "text"},
                         {"add text amount=1", "text"},
                         {"add empty amount=1", "empty"},
                         {"new b", "exists"},
                         {"new no/such/place", "No such file"},
                         {"list b --sort taste", "taste"},
                         {"list b --format xml", "xml"},
                         {"list b --where payee", "key=text"},
                         {"summary b --by taste", "taste"},
                         {"add b payee=Nobody", "amount"},
                         {"add b amount=1,5", "1,5"},
                         {"add b amount=1 taste=sweet", "taste"},
                         {"add b amount=1 month=2024-05", "month"},
                         {"add b amount=1 category=Toys", "Toys"},
                         {"add b amount=1 receipt=text", "PNG"},
                         {"add b --kind wallet name=Purse", "another wallet"},
                         {"add b --kind category name=A/B", "\"/\""},
                         {"add b --kind currency code=CHF rate=0", "rate"},
                         {"add b --kind book homeCurrency=EUR", "one book"},
                         {"edit b " + id, "values"},
                         {"edit b payee=Nobody", "IDs"},
                         {"edit b no-such-id payee=X", "no-such-id"},
                         {"edit b '' payee=X", "no record"},
                         {"edit b " + id + " payee=X date=yesterday", "yesterday"},
                         {"edit b " + id + " amount=", "empty"},
                         {"edit b " + food + " parent=Food/Bread", "below itself"},
                         {"edit b " + id + " " + wallet + " payee=X", "payee"},
                         {"delete b", "IDs"},
                         {"delete b " + id + " nothing", "nothing"},
                         {"delete b " + euro, "home currency"},
                         {"import b nowhere.csv", "nowhere.csv"},
                         {"import b bank.csv", "line 3, date: "},
                         {"import b bank.csv --encoding Klingon", "Klingon"},
                         {"import b bank.csv --separator ';;'", "separator"},
                         {"import b bank.csv --first-line 9", "line 9"},
                         {"import b bank.csv --map amount=Betrag", "Betrag"},
                         {"import b bank.csv --no-header", "--map"},
                         {"import b bank.csv --no-header --map date=3", "no column \"3\""},
                         {"import b bank.csv --map taste=amount", "taste"},
                         {"import b bank.csv --set category=Food//Bread --skip-bad-rows", "Food//Bread"},
                         {"import b latin.csv --encoding UTF-8", "UTF-8"},
                         {"import b bank.csv --remember x --wallet Nowhere", "Nowhere"},
                         {"import b two-ways.csv", "--date-format"},
                         {"import b two-ways.csv --date-format dd/MM/yyyy", "--number-format"},
                         {"sync b nowhere", "cannot open nowhere"},
                         {"sync b text --yes", "not a database"},
                         {"sync b ./b --yes", "in agreement with itself"},
                         {"sync b d --yes", "is not a copy of this document"},
                         {"sync b e --yes", "give --other-password"},
                         {"sync b e --yes --other-password x", "not the other book's password"},
                         {"password b", "password"},
                         {"password b --new x --remove", "--remove"}}) {
    const Output output = run(line.c_str());
    EXPECT_NE(output.status, 0) << line;
    EXPECT_THAT(output.error, testing::AllOf(testing::StartsWith("expenses: "), HasSubstr(message))) << line;
    EXPECT_EQ(std::count(output.error.begin(), output.error.end(), '\n'), 1) << output.error;
    EXPECT_EQ(Files::read(path("b")), before) << line;
  }
  EXPECT_EQ(Files::read(path("empty")), "");
}

TEST_F(CommandsTest, OutputThatIsLostIsAnError) {
  for (const char* command : {"list b", "list b --format csv", "summary b --by wallet"}) {
    const Output output = shell("\"$EXPENSES_PROGRAM\" " + std::string(command) + " >/dev/full");
    EXPECT_EQ(output.status, 1) << command;
    EXPECT_EQ(output.error, "expenses: cannot write the output\n") << command;
  }
}

TEST_F(CommandsTest, EveryCommandHasHelp) {
  EXPECT_THAT(succeed("--help"), HasSubstr("summary"));
  for (const char* command :
       {"new", "import", "list", "summary", "add", "edit", "batch", "delete", "check", "password"})
    EXPECT_THAT(succeed({command, "--help"}), HasSubstr("BOOK")) << command;
}

TEST_F(CommandsTest, ListSortsSelectsAndCuts) {
  EXPECT_THAT(listed("payee"), ElementsAre("Bakery", "Zoo", "Café \"Ö\", Ltd"));
  EXPECT_THAT(listed("date", "--sort date"), ElementsAre("2024-04-30", "2024-05-01", "2024-05-02"));
  EXPECT_THAT(listed("amount", "--sort -amount --limit 2"), ElementsAre("12", "4.2"));
  EXPECT_THAT(listed("payee", "--sort category,-payee"), ElementsAre("Zoo", "Café \"Ö\", Ltd", "Bakery"));
  EXPECT_THAT(listed("payee", "--where month=2024-05 --where category="), ElementsAre("Café \"Ö\", Ltd"));
  EXPECT_THAT(succeed("list b --format csv --where memo=back"),
              HasSubstr(",2024-05-02,\"Café \"\"Ö\"\", Ltd\",-3.5,EUR,,Purse,no,back,"));
  const std::string table = succeed("list b --sort date --limit 1");
  EXPECT_THAT(table, HasSubstr("12.00"));
  EXPECT_THAT(table, HasSubstr("1 of 3 expenses"));
  EXPECT_THAT(table, testing::Not(HasSubstr("receipt"))) << "an empty column";
  EXPECT_THAT(table, testing::Not(HasSubstr("\033")));
  EXPECT_THAT(succeed("--color always summary b --by month"), HasSubstr("\033[38;5;"));
}

TEST_F(CommandsTest, TextsCannotCommandTheTerminal) {
  succeed("add b amount=1 'payee=a\033[31mb\rc\u202Ed'");
  const std::string table = succeed("list b --where amount=1");
  EXPECT_THAT(table, HasSubstr("a [31mb c d"));
}

TEST_F(CommandsTest, RecordsAreFoundByTheBeginningOfTheirID) {
  const std::string id = listed("ID", "--where payee=Zoo").at(0);
  std::string beginning = id.substr(0, 13);
  for (char& c : beginning) c = static_cast<char>(std::tolower(c));
  succeed({"edit", "b", beginning, "payee=Aquarium", "cleared=yes", "warranty=2 years"});
  EXPECT_THAT(listed("warranty", "--where payee=Aquarium --where cleared=yes"), ElementsAre("2 years"));
  // Of so many records two begin alike.
  std::string lines;
  for (int i = 0; i < 40; ++i) lines += "add amount=1\n";
  succeed("batch b", lines);
  bool isAmbiguous = false;
  for (const char digit : std::string("0123456789ABCDEF"))
    isAmbiguous |= run({"edit", "b", std::string(1, digit), "memo=x"}).error.find("fits the IDs of") !=
                   std::string::npos;
  EXPECT_TRUE(isAmbiguous);
}

TEST_F(CommandsTest, WhatIsDeletedTakesItsOwnAlong) {
  succeed("add b --kind wallet name=Card");
  succeed("add b wallet=Card amount=1");
  succeed("delete b --kind category --where name=Food");
  EXPECT_THAT(listed("category"), ElementsAre("", "", "", ""));
  succeed("delete b --kind wallet --where name=Purse");
  EXPECT_THAT(listed("wallet"), ElementsAre("Card"));
  succeed("check b");
}

TEST_F(CommandsTest, ABatchUndoesRedoesAndSaves) {
  const std::string out = succeed("batch b",
                                  "# a comment\n\n"
                                  "edit --where payee=Zoo 'payee=Wild Park' amount=13\n"
                                  "delete --where payee=Bakery\n"
                                  "undo\nundo\nredo\n"
                                  "add payee=Kiosk amount=2\nundo\n");
  EXPECT_THAT(out, HasSubstr("Undid: delete --where payee=Bakery"));
  EXPECT_THAT(listed("payee"), ElementsAre("Bakery", "Wild Park", "Café \"Ö\", Ltd"));
  EXPECT_THAT(listed("amount", "--where 'payee=Wild Park'"), ElementsAre("13"));
  succeed("check b");
}

TEST_F(CommandsTest, ABatchKeepsWhatWasSavedBeforeTheLineThatFails) {
  struct Case {
    const char* line;
    const char* message;
  };
  for (const auto& [line, message] : {Case{"add amount=x", "line 4: amount"},
                                      {"spend", "line 4: there is no command"},
                                      {"redo", "line 4: there is nothing to redo"},
                                      {"add 'amount=1", "line 4: "},
                                      {"list --sort", "line 4: "},
                                      {"batch b", "line 4: there is no command"}}) {
    const auto before = listed("payee").size();
    const Output output =
        run("batch b", "add amount=1\nsave\nadd amount=2\n" + std::string(line) + "\nadd amount=3\n");
    EXPECT_NE(output.status, 0);
    EXPECT_THAT(output.error, HasSubstr(message));
    EXPECT_EQ(listed("payee").size(), before + 1) << line;
  }
}

TEST_F(CommandsTest, AnEditThatFailsHalfwayInABatchLeavesNoTrace) {
  const Output output = run("batch b", "edit --where category= payee=X\nadd --kind wallet name=Purse\n");
  EXPECT_NE(output.status, 0);
  EXPECT_THAT(listed("payee", "--where payee=X"), ElementsAre());
  EXPECT_THAT(listed("name", "--kind wallet"), ElementsAre("Purse"));
}

TEST_F(CommandsTest, CheckFindsWhatIsWrongInTheFile) {
  succeed("check b");
  const std::string sound = Files::read(path("b"));
  struct Case {
    const char* sql;
    const char* fault;
  };
  for (const auto& [sql, fault] : {
           Case{"UPDATE Expense SET category = 'gone' WHERE payee = 'Zoo'", "category gone is not there"},
           {"UPDATE Expense SET wallet = 'gone' WHERE payee = 'Zoo'", "wallet gone is not there"},
           {"UPDATE Expense SET wallet = NULL WHERE payee = 'Zoo'", "Expense has 3 rows, and 2 records"},
           {"UPDATE Expense SET \"index\" = -7 WHERE payee = 'Zoo'", "3 rows on 3 places from -7 to"},
           {"UPDATE Expense SET \"index\" = 9; UPDATE Expense SET \"index\" = 7 WHERE payee = 'Zoo'",
            "3 rows on 2 places from 7 to 9"},
           {"UPDATE Expense SET ID = (SELECT ID FROM Wallet) WHERE payee = 'Zoo'", "2 rows have the ID"},
           {"UPDATE Expense SET ID = NULL WHERE payee = 'Zoo'", "1 rows have the ID"},
           {"UPDATE Expense SET amount = 'much' WHERE payee = 'Zoo'", "amount \"much\""},
           {"UPDATE Expense SET date = '2024-02-30' WHERE payee = 'Zoo'", "2024-02-30"},
           {"UPDATE Expense SET currency = NULL WHERE payee = 'Zoo'", "currency must not be empty"},
           {"UPDATE Currency SET rate = '-1'", "rate must be above 0"},
           {"INSERT INTO Wallet SELECT 99, 'copy', lastModificationDate, book, 1, name, color, currency FROM "
            "Wallet",
            "more than one wallet \"Purse\""},
       }) {
    SQLite(path("b")).execute(sql);
    const Output output = run("check b");
    EXPECT_EQ(output.status, 1) << sql;
    EXPECT_THAT(output.out, HasSubstr(fault)) << sql;
    EXPECT_THAT(output.error, HasSubstr("fault")) << sql;
    Files::write(path("b"), sound);
  }
  std::string damaged = sound;
  std::fill(damaged.begin() + 4096, damaged.begin() + 4096 + 600, '\xA5');
  Files::write(path("b"), damaged);
  EXPECT_EQ(run("check b").status, 1);
  EXPECT_EQ(Files::read(path("b")), damaged);
}

TEST_F(CommandsTest, AProtectedBookAsksForItsPassword) {
  succeed("password b --new 'open sesame'");
  const std::string before = Files::read(path("b"));
  for (const Words& words : {Words{"list", "b", "--password", "wrong"},
                             {"add", "b", "amount=1", "--password", ""},
                             {"password", "b", "--remove", "--password", "Open sesame"}}) {
    const Output output = run(words);
    EXPECT_EQ(output.status, 1);
    EXPECT_THAT(output.error, HasSubstr("password"));
  }
  EXPECT_EQ(Files::read(path("b")), before);
  EXPECT_EQ(Files::read(path("b")).find("sesame"), std::string::npos);
  succeed("add b amount=1 --password 'open sesame'");
  succeed("password b --remove --password 'open sesame'");
  EXPECT_EQ(listed("ID").size(), 4u);
}

TEST_F(CommandsTest, OnlyOneProgramChangesABook) {
  Files::write(path("script"), R"(
    mkfifo lines answers
    "$EXPENSES_PROGRAM" batch b <lines >answers &
    exec 8>lines 9<answers
    echo 'list --limit 1' >&8
    read -r answer <&9  # from here on the batch holds the book
    "$EXPENSES_PROGRAM" add b amount=1 && echo 'another program changed the book' >&2
    "$EXPENSES_PROGRAM" list b --limit 1
    echo 'add amount=77' >&8
    exec 8>&-
    cat <&9
    wait
  )");
  const Output output = shell("timeout 60 bash script");
  EXPECT_THAT(output.error, HasSubstr("b is being changed by another program"));
  EXPECT_THAT(output.error, testing::Not(HasSubstr("another program changed")));
  EXPECT_THAT(output.out, HasSubstr("1 of 3 expenses"));
  EXPECT_THAT(listed("amount", "--where amount=77"), ElementsAre("77"));
  EXPECT_EQ(listed("ID").size(), 4u);
}

}  // namespace
