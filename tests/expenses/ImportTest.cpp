#include <gmock/gmock.h>

#include "Program.h"
#include "platform/base/Decimal.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class ImportTest : public ProgramTest {
 protected:
  ImportTest() { succeed("new b --wallet Account"); }

  std::string import(const std::string& file, const std::string& options = "") const {
    return succeed(("import b " + quoted(file) + " " + options).c_str());
  }
  /// "count total" of the amounts in the book's file.
  std::string countAndTotal() const {
    qw::Decimal total;
    const auto amounts = SQLite(path("b")).rows("SELECT amount FROM Expense");
    for (const std::string& amount : amounts)
      total += qw::Decimal::fromText(amount).value_or(qw::Decimal::nan());
    return std::to_string(amounts.size()) + " " + total.text() + "\n";
  }
  /// What Python's csv module makes of a file: runs `code` with the records in `rows`, for "count total".
  std::string python(const std::string& file, const std::string& encoding, const std::string& separator,
                     const std::string& code) const {
    Files::write(path("read.py"),
                 "import csv, sys\nfrom decimal import Decimal\n"
                 "rows = list(csv.reader(open(sys.argv[1], encoding=sys.argv[2], newline=''), "
                 "delimiter=sys.argv[3]))\n"
                 "amounts = " +
                     code +
                     "\n"
                     "print(len(amounts), sum(amounts, Decimal(0)).normalize().__format__('f'))\n");
    const Output output = shell("python3 read.py " + quoted(file) + " " + encoding + " " + quoted(separator));
    EXPECT_EQ(output.error, "");
    return output.out;
  }
};

TEST_F(ImportTest, ReadsWhatBanksWrite) {
  Files::write(path("bank.csv"),
               "Konto;DE00\r\n\r\n\"Tag\";Wer;Betrag;Was;Art\r\n"
               "01.02.2024;B\xe4"
               "cker \x80;-1.234,50;\"a;b\r\n\"\"c\"\"\";Essen/Brot\r\n"
               "02.02.2024;Zoo;7,00 CHF;;\r\n");
  succeed("add b --kind currency code=CHF rate=1");
  const std::string out = import("bank.csv",
                                 "--first-line 3 --invert --map date=Tag --map payee=Wer --map amount=Betrag "
                                 "--map memo=Was --map category=Art --set cleared=yes --skip-bad-rows");
  EXPECT_THAT(out, HasSubstr("Imported 1 expense "));
  EXPECT_THAT(out, HasSubstr("1 row cannot be read:\n  line 6, Betrag: “7,00 CHF” is not a number"))
      << "another currency than the wallet's, behind a line end in quotes";
  EXPECT_THAT(out, HasSubstr("Left out 1 bad row.\n"));
  EXPECT_THAT(listed("payee"), ElementsAre("Bäcker €"));
  EXPECT_THAT(listed("memo"), ElementsAre("a;b\n\"c\""));
  EXPECT_THAT(listed("amount"), ElementsAre("1234.5"));
  EXPECT_THAT(listed("category", "--where category=Essen --where cleared=yes"), ElementsAre("Essen/Brot"));
  EXPECT_THAT(listed("path", "--kind category"), ElementsAre("Essen", "Essen/Brot"));
}

TEST_F(ImportTest, TellsFormsFromTheColumns) {
  struct Case {
    const char* dates;
    const char* amounts;
    const char* read;  // what the second row becomes
  };
  for (const auto& [dates, amounts, read] :
       {Case{"31/01/2024 01/02/2024", "1 2,345", "2024-02-01 2345"},
        {"01/31/2024 02/01/2024", "1.5 2,345", "2024-02-01 2345"},
        {"31.1.2024 1.2.2024", "1,5 2.345", "2024-02-01 2345"},
        {"31.1.2024 1.2.2024", "1'000,50 0,123", "2024-02-01 0.123"},
        {"2024-01-31 2024-02-01", "€1.00 €-2,345.60", "2024-02-01 -2345.6"},
        {"2024-01-31 2024-02-01", "1,00 2.50", "2024-02-01 2.5"}}) {
    std::istringstream days(dates), sums(amounts);
    std::string text = "Date;AMOUNT\n", day, sum;
    while (days >> day && sums >> sum) text += day + ";" + sum + "\n";
    // 2,345 alone can be two numbers.
    if (std::string(amounts) == "1 2,345") text += "31/01/2024;1,000.00\n";
    Files::write(path("bank.csv"), text);
    std::filesystem::remove(path("b"));
    succeed("new b --symbol €");
    import("bank.csv");
    EXPECT_EQ(listed("date").at(1) + " " + listed("amount").at(1), read) << text;
  }
}

TEST_F(ImportTest, RemembersHowAFileIsRead) {
  Files::write(path("may.csv"), "x\nTag|Betrag\n01.05.2024|-1,5\n31.05.2024|-2\n");
  Files::write(path("june.csv"), "y\nTag|Betrag\n01.06.2024|-2,345\n");
  succeed("add b --kind wallet name=Card");
  const std::string options =
      "--first-line 2 --separator '|' --map date=Tag --map amount=Betrag --invert --remember bank --wallet "
      "Card";
  import("may.csv", options + " --dry-run");
  EXPECT_NE(run("import b june.csv --remember bank").status, 0) << "a trial is not remembered";
  import("may.csv", options);
  import("june.csv", "--remember bank");
  EXPECT_THAT(listed("amount", "--where wallet=Card"), ElementsAre("1.5", "2", "2.345"));
  import("june.csv", "--remember bank --no-invert --wallet Account");
  EXPECT_THAT(listed("amount", "--where wallet=Account"), ElementsAre("-2.345"))
      << "what is said goes before";
}

TEST_F(ImportTest, TrialsDuplicatesAndUndoneImportsLeaveWhatThereWas) {
  succeed("add b date=2024-01-01 payee=Zoo amount=1.50");
  Files::write(
      path("bank.csv"),
      "date,payee,amount,category\n2024-01-01,Zoo,1.5,New\n2024-01-02,Zoo,1.5,\n2024-01-01,Kiosk,zwei,\n"
      "2024-01-02,Zoo,1.500,\n");
  const std::string before = Files::read(path("b"));
  const std::string preview = import("bank.csv", "--preview --map memo=payee");
  EXPECT_THAT(preview, HasSubstr("encoding UTF-8, separator \",\", 4 rows from line 2\ndates yyyy-MM-dd"));
  EXPECT_THAT(preview,
              HasSubstr("amount    amount       1.5         1.5         zwei\ncategory  category     New\n"));
  const std::string list =
      "2 duplicates with the same date, amount and payee:\n"
      "line  date        payee  amount  same as\n"
      "   2  2024-01-01  Zoo       1.5  an expense\n"
      "   5  2024-01-02  Zoo       1.5  line 3\n";
  const std::string trial = import("bank.csv", "--dry-run --skip-bad-rows");
  EXPECT_THAT(trial, HasSubstr("line 4, amount: “zwei” is not a number"));
  EXPECT_THAT(trial, HasSubstr(list + "Would leave out 1 bad row.\nWould import 3 expenses.\n"));
  EXPECT_EQ(run("import b bank.csv").status, 1);
  EXPECT_TRUE(Files::read(path("b")) == before);
  succeed("batch b", "import bank.csv --skip-bad-rows\nundo\n");
  EXPECT_THAT(listed("ID", "--kind category"), ElementsAre());
  EXPECT_THAT(import("bank.csv", "--skip-duplicates --skip-bad-rows"),
              HasSubstr("Left out 1 bad row and 2 duplicates.\n"));
  EXPECT_THAT(listed("amount"), ElementsAre("1.5", "1.5"));
}

TEST_F(ImportTest, ColumnsAreNumberedWithoutAHeaderAndNamedLikeFieldsByDefault) {
  Files::write(path("plain.csv"), "2024-01-01|Kiosk|1\n2024-01-02|Zoo|2\n");
  import("plain.csv", "--no-header --separator '|' --map date=1 --map payee=2 --map amount=3");
  succeed("add b --kind category name=Fun");
  succeed("edit b --where payee=Zoo category=Fun 'warranty=1 year'");
  // What list writes is what import reads.
  Files::write(path("again.csv"), succeed("list b --format csv"));
  succeed("delete b --where wallet=Account");
  import("again.csv");
  EXPECT_THAT(listed("payee"), ElementsAre("Kiosk", "Zoo"));
  EXPECT_THAT(listed("category"), ElementsAre("", "Fun"));
  EXPECT_THAT(listed("warranty"), ElementsAre("", "1 year"));
}

/// The files of the demo and of real publishers, held against Python's csv and decimal modules.
TEST_F(ImportTest, CountsAndTotalsOfRealFilesAreThoseOfAnotherReader) {
  if (std::system("python3 -c 'import csv' >/dev/null 2>&1") != 0) GTEST_SKIP() << "needs python3";
  const char* directory = std::getenv("QW_SHARED_DATA");
  const std::filesystem::path data = std::filesystem::absolute(directory ? directory : "../shared/data");
  const std::filesystem::path statement = path("statement.csv");
  ASSERT_EQ(
      shell("python3 " + quoted(std::filesystem::absolute("examples/expenses/make_statement.py").string()) +
            " " + quoted(statement.string()))
          .status,
      0);
  struct Case {
    std::filesystem::path file;
    std::string encoding, separator;  // told to Python only
    /// The amounts that the rows hold.
    std::string code;
    std::string options;
  };
  for (const auto& [file, encoding, separator, code, options] : std::vector<Case>{
           {statement, "windows-1252", ";",
            "[-Decimal(r[4].replace('.', '').replace(',', '.')) for r in rows[4:]]",
            "--first-line 4 --invert --map date=Booked --map memo=Purpose"},
           {data / "dsit-spend-over-25k-2024-07.csv", "windows-1252", ",",
            "[Decimal(r[5].replace('£', '').replace(',', '')) for r in rows[1:]]",
            "--map 'date=Date of Payment' --map payee=Supplier --map memo=Description "
            "--map 'category=Expense Type' --wallet Ministry"},
           {data / "bank-ocbc-transaction-history.csv", "ascii", ",",
            "[Decimal(r[3]) for r in rows[6:] if len(r) == 5 and r[3]]",
            "--first-line 6 --date-format dd/MM/yyyy --map 'date=Transaction date' --map payee=Description "
            "--map 'amount=Withdrawals (SGD)' --skip-bad-rows"},
           {data / "ecb-eurofxref-hist.csv", "ascii", ",", "[Decimal(r[1]) for r in rows[1:]]",
            "--map amount=USD"},
           {data / "ecb-eurofxref-hist.csv", "ascii", ",",
            "[Decimal(r[20]) for r in rows[1:] if r[20] != 'N/A']", "--map amount=ISK --skip-bad-rows"},
           {data / "bundeswahlleiter-strukturdaten-2017.csv", "windows-1252", ";",
            "[Decimal(r[4].replace(',', '.')) for r in rows[9:]]",
            "--first-line 9 --set date=2017-09-24 --map payee=Land "
            "--map 'amount=Fläche am 31.12.2015 (km²)'"},
           {data / "bundeswahlleiter-kerg-2017.csv", "utf-8-sig", ";",
            "[Decimal(r[7]) for r in rows[8:] if len(r) > 2 and r[7]]",
            "--first-line 6 --set date=2017-09-24 --map payee=Gebiet --map amount=Wähler --skip-bad-rows"},
           {data / "santa-monica-gtfs-stop_times.csv", "ascii", ",",
            "[Decimal(r[8]) for r in rows[1:] if r[8]]",
            "--set date=2020-02-16 --map payee=trip_id --map amount=shape_dist_traveled --skip-bad-rows"},
           {data / "rki-grippeweb.tsv", "ascii", "\t", "[Decimal(r[6]) for r in rows[1:]]",
            "--set date=2011-06-01 --map amount=Inzidenz --map payee=Region --map category=Saison"},
       }) {
    if (!std::filesystem::exists(file)) continue;
    SCOPED_TRACE(file.filename().string());
    std::filesystem::remove(path("b"));
    succeed("new b --wallet Account");
    succeed("add b --kind currency code=GBP 'symbol=£' rate=1.2");
    succeed("add b --kind currency code=CHF");
    succeed("add b --kind wallet name=Ministry currency=GBP");
    import(file.string(), options + (options.find("--wallet") == options.npos ? " --wallet Account" : ""));
    EXPECT_EQ(countAndTotal(), python(file.string(), encoding, separator, code));
    succeed("check b");
  }
}

}  // namespace
