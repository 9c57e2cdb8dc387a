#pragma once

#include <optional>
#include <string>

#include "platform/base/Export.h"
#include "platform/system/TextEncoding.h"
#include "values/collections/QWConstant.h"

/// The text encodings offered when files are read and written. Settings store the name; `value` is a number
/// that stays the same, and `encoding` does the work.
class QW_EXPORT QWStringEncoding : public QWConstantOf<QWStringEncoding> {
 public:
  static const qw::Class kClass;

  ///@{
  /// A registered encoding; never null.
  static Pointer ASCIIStringEncoding() { return constantWithName("ASCIIStringEncoding"); }
  static Pointer MacOSRomanStringEncoding() { return constantWithName("MacOSRomanStringEncoding"); }
  static Pointer ISOLatin1StringEncoding() { return constantWithName("ISOLatin1StringEncoding"); }
  static Pointer ISOLatin2StringEncoding() { return constantWithName("ISOLatin2StringEncoding"); }
  static Pointer ISOLatin3StringEncoding() { return constantWithName("ISOLatin3StringEncoding"); }
  static Pointer ISOLatin4StringEncoding() { return constantWithName("ISOLatin4StringEncoding"); }
  static Pointer ISOLatinCyrillicStringEncoding() {
    return constantWithName("ISOLatinCyrillicStringEncoding");
  }
  static Pointer ISOLatinArabicStringEncoding() { return constantWithName("ISOLatinArabicStringEncoding"); }
  static Pointer ISOLatinGreekStringEncoding() { return constantWithName("ISOLatinGreekStringEncoding"); }
  static Pointer ISOLatinHebrewStringEncoding() { return constantWithName("ISOLatinHebrewStringEncoding"); }
  static Pointer ISOLatin5StringEncoding() { return constantWithName("ISOLatin5StringEncoding"); }
  static Pointer ISOLatin6StringEncoding() { return constantWithName("ISOLatin6StringEncoding"); }
  static Pointer ISOLatinThaiStringEncoding() { return constantWithName("ISOLatinThaiStringEncoding"); }
  static Pointer ISOLatin7StringEncoding() { return constantWithName("ISOLatin7StringEncoding"); }
  static Pointer ISOLatin8StringEncoding() { return constantWithName("ISOLatin8StringEncoding"); }
  static Pointer ISOLatin9StringEncoding() { return constantWithName("ISOLatin9StringEncoding"); }
  static Pointer ISOLatin10StringEncoding() { return constantWithName("ISOLatin10StringEncoding"); }
  static Pointer UTF8StringEncoding() { return constantWithName("UTF8StringEncoding"); }
  static Pointer UTF16BigEndianStringEncoding() { return constantWithName("UTF16BigEndianStringEncoding"); }
  static Pointer UTF16LittleEndianStringEncoding() {
    return constantWithName("UTF16LittleEndianStringEncoding");
  }
  static Pointer WindowsCP1250StringEncoding() { return constantWithName("WindowsCP1250StringEncoding"); }
  static Pointer WindowsCP1251StringEncoding() { return constantWithName("WindowsCP1251StringEncoding"); }
  static Pointer WindowsCP1252StringEncoding() { return constantWithName("WindowsCP1252StringEncoding"); }
  static Pointer WindowsCP1253StringEncoding() { return constantWithName("WindowsCP1253StringEncoding"); }
  static Pointer WindowsCP1254StringEncoding() { return constantWithName("WindowsCP1254StringEncoding"); }
  static Pointer ShiftJISStringEncoding() { return constantWithName("ShiftJISStringEncoding"); }
  static Pointer BIG5StringEncoding() { return constantWithName("BIG5StringEncoding"); }
  static Pointer BIG5HKSCSStringEncoding() { return constantWithName("BIG5HKSCSStringEncoding"); }
  static Pointer GB2312StringEncoding() { return constantWithName("GB2312StringEncoding"); }
  static Pointer GBKStringEncoding() { return constantWithName("GBKStringEncoding"); }
  static Pointer GB18030StringEncoding() { return constantWithName("GB18030StringEncoding"); }
  static Pointer EUCCNStringEncoding() { return constantWithName("EUCCNStringEncoding"); }
  static Pointer HZGB2312StringEncoding() { return constantWithName("HZGB2312StringEncoding"); }
  static Pointer ISO2022CNStringEncoding() { return constantWithName("ISO2022CNStringEncoding"); }
  ///@}

  /// The name as written in an XML declaration or a charset parameter.
  const std::string& XMLEncoding() const { return XMLEncoding_; }
  /// No value for a constant that is not registered.
  std::optional<qw::TextEncoding> encoding() const { return qw::TextEncoding::named(XMLEncoding_); }
  /// The name in the user's language.
  std::string description() const override;

  /// For the registry.
  static void addConstants(QWConstantsManager& manager);

 private:
  std::string XMLEncoding_;
};
