#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"
#include "values/numbers/QWCurrency.h"
#include "values/numbers/QWNumberFormatter.h"

/// Writes amounts of money with the symbol and the decimals of a currency, and reads them, converting those
/// typed with the symbol or code of another currency that it knows: the longest one that stands before or
/// behind the number, with the point of an abbreviation ("Rs.500"). An amount that names two currencies
/// cannot be read. Belongs to one thread, like every number formatter.
///
///     QWCurrencyFormatter formatter;
///     formatter.setCurrency(euro);
///     formatter.setCurrencies({euro, dollar});
///     bool isRead = formatter.getObjectValue(value, "USD 10 + 5");  // 14.2: in euros
class QW_EXPORT QWCurrencyFormatter : public QWNumberFormatter {
 public:
  static const qw::Class kClass;

  /// A bool of the user's settings: whether "1250" is read as 12.50.
  static constexpr std::string_view kAutomaticallyInsertDecimalSeparatorKey =
      "QWCurrencyFormatterAutomaticallyInsertDecimalSeparator";
  /// An amount with more symbols and codes than these is not read.
  static constexpr int kMaxSigns = 8;

  /// In the currency, or with up to six fraction digits and no symbol for none.
  static std::string formatValue(const qw::Decimal& value, const QWCurrency* currency);
  /// The same.
  static std::string formatValue(const qw::Decimal& value, const std::optional<QWCurrency>& currency) {
    return formatValue(value, currency ? &*currency : nullptr);
  }

  /// Writes the currency of the locale until one is set.
  QWCurrencyFormatter();

  /// Shown, and meant by a number alone.
  const std::optional<QWCurrency>& currency() const { return currency_; }
  /// Also takes over code, symbol, fraction digits and rounding, as `updateCurrency` does.
  void setCurrency(std::optional<QWCurrency> currency);
  /// Takes code, symbol, fraction digits and rounding from the currency anew.
  void updateCurrency();
  /// The currencies that a text may name by symbol or code.
  const std::vector<QWCurrency>& currencies() const { return currencies_; }
  /// Replaces them; their symbols and codes are no operators then.
  void setCurrencies(std::vector<QWCurrency> currencies);
  /// True at first. The user's setting must be true as well, and only a number without a decimal separator
  /// and without a symbol or code is meant.
  bool canInsertDecimalSeparatorAutomatically() const { return canInsertDecimalSeparator_; }
  /// Switches it off, or leaves it to the user's setting.
  void setCanInsertDecimalSeparatorAutomatically(bool can) { canInsertDecimalSeparator_ = can; }
  /// Another code brings its own symbol; a symbol alone replaces what is shown.
  void setCurrencyCode(std::string_view code);
  /// Replaces what is shown; the code stays.
  void setCurrencySymbol(std::string_view symbol);

  /// Moves the minus sign of "$-5" before the symbol.
  std::optional<Components> componentsFromString(std::string_view text) const override;
  /// Moves a minus sign behind a symbol in front of it, throughout a calculation.
  void fixEnglishNotation(Components& components) const;
  /// The amount, converted into the formatter's currency.
  std::optional<qw::Decimal> evaluateString(std::string_view text) const override;

  /// Writes the settings of the base and the currencies.
  void encodeWithCoder(qw::KeyedArchiver& coder) const override;
  /// Inserting the decimal separator is allowed again.
  void initWithCoder(qw::KeyedUnarchiver& coder) override;

 private:
  /// A symbol or code as it stands in texts, and the index of its currency.
  struct Sign {
    std::string text;
    std::size_t currency;
    bool isSymbol;
  };

  std::optional<qw::Decimal> evaluateNumber(std::string_view text) const;

  std::optional<QWCurrency> currency_;
  std::vector<QWCurrency> currencies_;
  std::vector<Sign> signs_;             // the longest first, of equally long ones codes before symbols
  std::array<bool, 256> beginsSign_{};  // the first bytes of all symbols and codes
  bool canInsertDecimalSeparator_ = true;
};
