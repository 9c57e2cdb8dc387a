#include "values/collections/QWStringEncoding.h"

#include "platform/object/Property.h"
#include "platform/system/Localization.h"

constinit const qw::Class QWStringEncoding::kClass = qw::define<QWStringEncoding, QWConstant>(
    "QWStringEncoding", {},
    [] { return qw::properties(qw::property<&QWStringEncoding::XMLEncoding_>("XMLEncoding")); });

namespace {

struct Row {
  const char* name;
  std::int64_t value;
  const char* XMLEncoding;
};

// Where no number is established: the encoding's MIBenum in the IANA registry of character sets, out of the
// way of the others.
constexpr std::int64_t mib(std::int64_t number) { return 0x10000 + number; }

constexpr Row kRows[] = {
    {"ASCIIStringEncoding", 1, "US-ASCII"},
    {"MacOSRomanStringEncoding", 30, "macintosh"},
    {"ISOLatin1StringEncoding", 5, "latin1"},
    {"ISOLatin2StringEncoding", mib(5), "latin2"},
    {"ISOLatin3StringEncoding", mib(6), "latin3"},
    {"ISOLatin4StringEncoding", mib(7), "latin4"},
    {"ISOLatinCyrillicStringEncoding", mib(8), "cyrillic"},
    {"ISOLatinArabicStringEncoding", mib(9), "arabic"},
    {"ISOLatinGreekStringEncoding", mib(10), "greek"},
    {"ISOLatinHebrewStringEncoding", mib(11), "hebrew"},
    {"ISOLatin5StringEncoding", mib(12), "latin5"},
    {"ISOLatin6StringEncoding", mib(13), "latin6"},
    {"ISOLatinThaiStringEncoding", mib(2259), "ISO-8859-11"},
    {"ISOLatin7StringEncoding", mib(109), "ISO-8859-13"},
    {"ISOLatin8StringEncoding", mib(110), "latin8"},
    {"ISOLatin9StringEncoding", mib(111), "latin9"},
    {"ISOLatin10StringEncoding", mib(112), "latin10"},
    {"UTF8StringEncoding", 4, "UTF-8"},
    {"UTF16BigEndianStringEncoding", mib(1013), "UTF-16BE"},
    {"UTF16LittleEndianStringEncoding", mib(1014), "UTF-16LE"},
    {"WindowsCP1250StringEncoding", 15, "windows-1250"},
    {"WindowsCP1251StringEncoding", 11, "windows-1251"},
    {"WindowsCP1252StringEncoding", 12, "windows-1252"},
    {"WindowsCP1253StringEncoding", 13, "windows-1253"},
    {"WindowsCP1254StringEncoding", 14, "windows-1254"},
    {"ShiftJISStringEncoding", 8, "Shift_JIS"},
    {"BIG5StringEncoding", mib(2026), "Big5"},
    {"BIG5HKSCSStringEncoding", mib(2101), "Big5-HKSCS"},
    {"GB2312StringEncoding", mib(57), "GB2312"},
    {"GBKStringEncoding", mib(113), "GBK"},
    {"GB18030StringEncoding", mib(114), "GB18030"},
    {"EUCCNStringEncoding", mib(2025), "eucCN"},
    {"HZGB2312StringEncoding", mib(2085), "HZ-GB-2312"},
    {"ISO2022CNStringEncoding", mib(104), "ISO-2022-CN"},
};

}  // namespace

std::string QWStringEncoding::description() const { return qw::Localization::frameworkString(name()); }

void QWStringEncoding::addConstants(QWConstantsManager& manager) {
  for (const Row& row : kRows) {
    auto encoding = make(row.name, row.value);
    encoding->XMLEncoding_ = row.XMLEncoding;
    manager.addConstant(std::move(encoding));
  }
}
