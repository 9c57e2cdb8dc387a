#include <gmock/gmock.h>

#include <cstring>

#include "import/CSVRecordReader.h"
#include "import/QWCSVImportController.h"
#include "platform/files/UserDefaults.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Localization.h"
#include "support/Files.h"
#include "support/ScriptedPresenter.h"

namespace {

using testing::ElementsAre;
using testing::Pair;
using Mapping = QWCSVImportController::Mapping;

class QWCSVImportControllerTest : public testing::Test {
 protected:
  Files::Path write(std::string_view bytes) const {
    return Files::write(context.directory() / "file.csv", bytes);
  }

  std::shared_ptr<QWCSVImportController> makeImporter(const std::string& autosaveName = "") {
    auto importer = qw::make<QWCSVImportController>();
    importer->initWithBlock([this](QWCSVImportController&, const QWCSVRows* rows, const Mapping* mapping,
                                   QWDateFormatter* dates, QWNumberFormatter* numbers) {
      ++calls;
      received.reset();
      if (!rows) return;
      received.emplace();
      qw::CSVRecordReader reader(*rows, *mapping, *dates, *numbers);
      while (reader.next()) {
        received->push_back(std::string(reader.text(reader.column("payee"))) + "|" +
                            reader.number(reader.column("amount")).value_or(qw::Decimal::nan()).text());
      }
    });
    importer->setKeyPaths({"payee", "amount"});
    importer->setHasNumbers(true);
    importer->setAutosaveName(autosaveName);
    return importer;
  }

  /// Runs an import to its end.
  void import(QWCSVImportController& importer, const std::filesystem::path& file, const std::string& button,
              bool confirmsError = false) {
    presenter.willChooseFiles(file.empty() ? std::vector<Files::Path>() : std::vector{file});
    if (!button.empty() || confirmsError) presenter.willPress(button);
    const int before = calls;
    importer.showOpenPanelInWindow(presenter);
    EXPECT_EQ(calls, before) << "called too early";
    EXPECT_TRUE(qw::RunLoop::main().runUntil([&] { return calls > before; }, std::chrono::seconds(10)));
  }

  static const QWCharacterSeparator* separator(qw::Control& control) {
    return control.objectValue().objectAs<QWCharacterSeparator>().get();
  }
  static void choose(qw::Control& control, std::string_view title) {
    const auto titles = control.titles();
    const auto found = std::find(titles.begin(), titles.end(), title);
    ASSERT_NE(found, titles.end()) << title;
    control.selectIndex(static_cast<std::size_t>(found - titles.begin()));
  }
  static qw::Control& controlOf(const qw::Presenter::Question& question, std::string_view label) {
    for (const auto& control : std::dynamic_pointer_cast<qw::Form>(question.accessory)->controls())
      if (control->label() == label) return *control;
    throw std::out_of_range(std::string(label));
  }

  qw::ApplicationContext::Override context;
  ScriptedPresenter presenter;
  int calls = 0;
  /// "payee|amount" of each row; none when the block got nothing.
  std::optional<std::vector<std::string>> received;
};

TEST_F(QWCSVImportControllerTest, HandsOverWhatTheUserMapped) {
  const auto importer = makeImporter();
  importer->hasHeaderButton().enter(true);
  presenter.whenAsked = [&](const qw::Presenter::Question& question) {
    qw::Control& payee = controlOf(question, "payee :");
    EXPECT_THAT(payee.titles(), ElementsAre("", "Who", "Amount"));
    choose(payee, "Who");
    EXPECT_EQ(controlOf(question, "amount :").objectValue(), qw::Value("Amount")) << "proposed by its name";
    EXPECT_THAT(
        std::dynamic_pointer_cast<qw::Form>(question.accessory)->table(),
        ElementsAre(ElementsAre("Who", "Amount"), ElementsAre("Zoo", "1,50"), ElementsAre("Spa", "2")));
  };
  import(*importer, write("Who;Amount\r\nZoo;1,50\r\nSpa;2\r\n"), "OK");
  EXPECT_THAT(received.value(), ElementsAre("Zoo|1.5", "Spa|2"));
  EXPECT_THAT(presenter.openRequests.at(0).fileTypes, ElementsAre("csv", ""));
  EXPECT_EQ(presenter.questions.at(0).message, qw::Localization::frameworkString("ChooseImportMapping"));
}

TEST_F(QWCSVImportControllerTest, ACancelledOrUnreadableImportHandsOverNothing) {
  const auto importer = makeImporter("Test");
  import(*importer, {}, "");
  EXPECT_FALSE(received);
  import(*importer, write("a;1\n"), "Cancel");
  EXPECT_FALSE(received);
  import(*importer, context.directory() / "missing.csv", "", true);
  EXPECT_FALSE(received);
  choose(importer->encodingButton(), QWStringEncoding::UTF8StringEncoding()->description());
  import(*importer, write("caf\xE9;1\n"), "", true);
  EXPECT_FALSE(received);
  EXPECT_EQ(calls, 4);
  EXPECT_EQ(presenter.questions.size(), 3u) << "a mapping and two errors";
  EXPECT_TRUE(qw::UserDefaults::standard().value("QWCSVImportController Test").isNull());
}

TEST_F(QWCSVImportControllerTest, RemembersOptionsAndMappingByName) {
  {
    const auto importer = makeImporter("Bank");
    choose(importer->encodingButton(), QWStringEncoding::WindowsCP1252StringEncoding()->description());
    choose(importer->separatorButton(), QWCharacterSeparator::tabSeparator()->description());
    choose(importer->decimalSeparatorButton(), QWCharacterSeparator::commaSeparator()->description());
    choose(importer->groupingSeparatorButton(), QWCharacterSeparator::dotSeparator()->description());
    importer->firstLineField().enter(2);
    importer->hasHeaderButton().enter(true);
    importer->dateFormatField().enter("dd.MM.yyyy");
    importer->setColumn("payee", "Wer");
    importer->setColumn("amount", "Betrag");
    import(*importer, write("Konto 1\nWer\tBetrag\nB\xE4r\t1.000,5\n"), "OK");
    EXPECT_THAT(received.value(), ElementsAre("Bär|1000.5"));
  }
  const qw::Dictionary saved = qw::UserDefaults::standard().dictionary("QWCSVImportController Bank");
  EXPECT_THAT(
      saved,
      testing::UnorderedElementsAre(
          Pair("encoding", qw::Value("WindowsCP1252StringEncoding")),
          Pair("separator", qw::Value("TabSeparator")), Pair("decimalSeparator", qw::Value("CommaSeparator")),
          Pair("groupingSeparator", qw::Value("DotSeparator")), Pair("firstLine", qw::Value(2)),
          Pair("hasHeader", qw::Value(1)), Pair("dateFormat", qw::Value("dd.MM.yyyy")),
          Pair("mapping", qw::Value(qw::Dictionary{{"amount", "Betrag"}, {"payee", "Wer"}}))));

  // The next file has other columns, the one after it the old ones again.
  import(*makeImporter("Bank"), write("\nWer\tSumme\nBoa\t2\n"), "OK");
  EXPECT_THAT(received.value(), ElementsAre("Boa|NaN"));
  import(*makeImporter("Bank"), write("\nBetrag\tWer\n3\tBoa\n"), "OK");
  EXPECT_THAT(received.value(), ElementsAre("Boa|3"));
  import(*makeImporter("Other"), write("Boa;4\n"), "OK");
  EXPECT_THAT(received.value(), ElementsAre("|NaN"));
}

TEST_F(QWCSVImportControllerTest, SavedOptionsThatMakeNoSenseArePassedOver) {
  qw::UserDefaults::standard().set("QWCSVImportController Bank",
                                   qw::Dictionary{{"encoding", "Runes"},
                                                  {"separator", 7},
                                                  {"firstLine", -3},
                                                  {"decimalSeparator", "CommaSeparator"},
                                                  {"hasHeader", "perhaps"},
                                                  {"dateFormat", nullptr},
                                                  {"mapping", 1}});
  const auto importer = makeImporter("Bank");
  EXPECT_EQ(importer->options().encoding(), qw::TextEncoding::utf8());
  EXPECT_EQ(importer->options().separator(), ";");
  EXPECT_EQ(importer->options().firstLine(), 1u);
  EXPECT_FALSE(importer->options().hasHeader());
  EXPECT_TRUE(importer->decimalSeparatorButton().objectValue().isNull()) << "both are chosen or none";
  EXPECT_THAT(importer->mapping(), ElementsAre());
}

TEST_F(QWCSVImportControllerTest, NumberSeparatorsAreChosenTogether) {
  context.change([](qw::ApplicationContext& c) { c.locale = "de_DE"; });
  const auto importer = makeImporter();
  qw::Control& decimal = importer->decimalSeparatorButton();
  qw::Control& grouping = importer->groupingSeparatorButton();
  EXPECT_TRUE(decimal.objectValue().isNull() && grouping.objectValue().isNull());
  choose(decimal, QWCharacterSeparator::commaSeparator()->description());
  EXPECT_EQ(separator(grouping), QWCharacterSeparator::dotSeparator().get());
  choose(grouping, QWCharacterSeparator::noSeparator()->description());
  EXPECT_EQ(separator(decimal), QWCharacterSeparator::commaSeparator().get());
  decimal.enter(nullptr);
  EXPECT_TRUE(grouping.objectValue().isNull());
  choose(grouping, QWCharacterSeparator::quoteSeparator()->description());
  EXPECT_EQ(separator(decimal), QWCharacterSeparator::commaSeparator().get());
  grouping.enter(nullptr);
  EXPECT_TRUE(decimal.objectValue().isNull());
  choose(decimal, QWCharacterSeparator::dotSeparator()->description());
  EXPECT_EQ(separator(grouping), QWCharacterSeparator::commaSeparator().get()) << "not the same one twice";

  EXPECT_FALSE(decimal.isHidden());
  EXPECT_TRUE(importer->dateFormatField().isHidden());
  importer->setHasNumbers(false);
  importer->setHasDates(true);
  EXPECT_TRUE(decimal.isHidden() && grouping.isHidden());
  EXPECT_FALSE(importer->dateFormatField().isHidden());
  EXPECT_EQ(importer->dateFormatField().objectValue(), qw::Value("dd.MM.yyyy"));
}

TEST_F(QWCSVImportControllerTest, NamesColumnsAndLeavesOutTheFirstLines) {
  const auto importer = makeImporter();
  const auto read = [&](std::string_view bytes, int firstLine, bool hasHeader) {
    importer->firstLineField().enter(firstLine);
    importer->hasHeaderButton().enter(hasHeader);
    EXPECT_TRUE(importer->openFile(write(bytes)));
    return importer->preview();
  };
  choose(importer->separatorButton(), QWCharacterSeparator::semicolonSeparator()->description());
  EXPECT_THAT(read("a;b\nc;d", 1, false),
              ElementsAre(ElementsAre("0 (a)", "1 (b)"), ElementsAre("a", "b"), ElementsAre("c", "d")));
  EXPECT_THAT(read("x;;x\n1;2;3;4\n", 1, true),
              ElementsAre(ElementsAre("x", "1", "x (2)", "3 (4)"), ElementsAre("1", "2", "3", "4")));
  EXPECT_THAT(read("a;b\r\n\"c\r\nd\";\r\r\n", 1, true),
              ElementsAre(ElementsAre("a", "b"), ElementsAre("c\nd", "")));
  EXPECT_THAT(read("one\r\ntwo\r\n", 3, false), ElementsAre(ElementsAre()));
  EXPECT_THAT(read("one\rtwo\u2028three\n", 3, false),
              ElementsAre(ElementsAre("0 (three)"), ElementsAre("three")));
  EXPECT_THAT(read("one\n", 1'000'000'000, true), ElementsAre(ElementsAre()));
}

TEST_F(QWCSVImportControllerTest, GuessesEncodingAndSeparatorUntilSomebodyChooses) {
  struct Case {
    const char* bytes;
    const char* encoding;
    const char* separator;
  };
  for (const auto& [bytes, encoding, separator] : {
           Case{"name,city\nBärbel,Zürich\nJosé,León\n", "UTF8StringEncoding", ","},
           Case{"\xEF\xBB\xBF# remark, with a comma\na;b;c\nd;e;f\n", "UTF8StringEncoding", ";"},
           Case{"Tag;Betrag\n01.02.2024;1,50\n02.02.2024;7,25\n03.02.2024;8,00\n", "UTF8StringEncoding", ";"},
           Case{"Empf\xE4nger\tBetrag in \x80\nB\xE4"
                "ckerei M\xFCller\t1,50\n",
                "WindowsCP1252StringEncoding", "\t"},
           Case{"Amount,Supplier\n\"\xA3"
                "58,608.00\",Pye Tait Ltd\n\"\xA3"
                "1.00\",A; B\n",
                "WindowsCP1252StringEncoding", ","},
           Case{"\xFF\xFE"
                "a\0;\0b\0\n\0"
                "c\0;\0d\0\n\0",
                "UTF16LittleEndianStringEncoding", ";"},
           Case{"\xC4\xE0\xF2\xE0;\xD1\xF3\xEC\xEC\xE0;\xCD\xE0\xE7\xED\xE0\xF7\xE5\xED\xE8\xE5\n01.02.2024;"
                "150;\xCF\xF0\xEE\xE4\xF3\xEA\xF2\xFB \xE8 \xED\xE0\xEF\xE8\xF2\xEA\xE8\n",
                "WindowsCP1251StringEncoding", ";"},
           Case{"Libell\x8E;Caf\x8E \x88 la gare, cr\x8Fme br\x9El\x8E"
                "e\n1;2\n",
                "MacOSRomanStringEncoding", ";"},
           Case{"only one column\nin each line\n", "UTF8StringEncoding", ";"},
       }) {
    SCOPED_TRACE(bytes);
    const auto importer = makeImporter();
    const std::size_t size = std::string_view(encoding).starts_with("UTF16") ? 18 : std::strlen(bytes);
    ASSERT_TRUE(importer->openFile(write({bytes, size})));
    EXPECT_EQ(importer->encodingButton().objectValue().objectAs<QWStringEncoding>()->name(), encoding);
    EXPECT_EQ(importer->options().separator(), separator);
  }
}

TEST_F(QWCSVImportControllerTest, AWrongGuessIsMendedWithoutTheFile) {
  const auto importer = makeImporter();
  const auto file = write("na\xA5ve,caf\x8E;x\nb,c;d\n");
  ASSERT_TRUE(importer->openFile(file));
  std::filesystem::remove(file);
  const auto form = importer->mappingView();
  int changes = 0;
  const auto observation = form->observe("table", [&](const qw::Change&) { ++changes; });
  choose(importer->encodingButton(), QWStringEncoding::MacOSRomanStringEncoding()->description());
  choose(importer->separatorButton(), QWCharacterSeparator::commaSeparator()->description());
  importer->hasHeaderButton().enter(true);
  EXPECT_THAT(form->table(), ElementsAre(ElementsAre("na•ve", "café;x"), ElementsAre("b", "c;d")));
  EXPECT_EQ(changes, 3);
  EXPECT_THAT(form->controls().at(0)->titles(), ElementsAre("", "na•ve", "café;x"));
  choose(importer->encodingButton(), QWStringEncoding::UTF8StringEncoding()->description());
  EXPECT_TRUE(importer->readingError());
  EXPECT_TRUE(importer->rows().empty());
  choose(importer->encodingButton(), QWStringEncoding::MacOSRomanStringEncoding()->description());
  EXPECT_FALSE(importer->readingError());
  EXPECT_EQ(importer->rows().size(), 1u);
}

TEST_F(QWCSVImportControllerTest, AFormOutlivesItsController) {
  auto importer = makeImporter();
  const auto options = importer->options().form();
  const auto mapping = importer->mappingView();
  importer = nullptr;
  for (const auto& control : options->controls()) control->enter(nullptr);
  for (const auto& control : mapping->controls()) control->enter(nullptr);
}

TEST_F(QWCSVImportControllerTest, ReportsRefusedFieldsByLine) {
  const auto importer = makeImporter();
  importer->firstLineField().enter(3);
  importer->hasHeaderButton().enter(true);
  importer->dateFormatField().enter("yyyy-MM-dd");
  ASSERT_TRUE(
      importer->openFile(write("Bank\r\n\r\nday;sum;note\r\n"       // 3
                               "2024-01-31;1;\"two\r\nlines\"\r\n"  // 4
                               "soon;2+;x\r\n\r\n"                  // 6
                               "2024-02-01; ;x\r\n"                 // 8
                               "2024-02-02\r\n"                     // 9
                               "2024-02-03;much;x")));              // 10
  QWDateFormatter dates;
  QWNumberFormatter numbers;
  importer->options().configure(dates);
  importer->options().configure(numbers);
  const Mapping mapping{{"date", "day"}, {"amount", "sum"}, {"other", "missing"}};
  qw::CSVRecordReader reader(importer->rows(), mapping, dates, numbers, importer->options().firstLine());
  const auto date = reader.column("date"), amount = reader.column("amount"), other = reader.column("other");
  EXPECT_FALSE(other.isMapped() || reader.column("unmapped").isMapped());
  std::vector<std::string> good;
  std::vector<std::size_t> lines;
  while (reader.next()) {
    const auto day = reader.date(date);
    const auto sum = reader.number(amount);
    EXPECT_EQ(reader.text(other), "");
    if (!reader.isRejected() && !sum) reader.reject(amount, "needed");
    if (!reader.isRejected()) good.push_back(dates.stringFromDate(*day) + " " + sum->text());
    lines.push_back(reader.line());
  }
  EXPECT_THAT(good, ElementsAre("2024-01-31 1"));
  EXPECT_THAT(lines, ElementsAre(4, 6, 8, 9, 10));
  EXPECT_EQ(reader.rejectedRows(), 4u);
  std::vector<std::string> rejections;
  for (const auto& r : reader.rejections())
    rejections.push_back(std::to_string(r.line) + " " + r.column + ": " + r.text);
  EXPECT_THAT(rejections, ElementsAre("6 day: soon", "6 sum: 2+", "8 sum: ", "9 sum: ", "10 sum: much"));
}

}  // namespace
