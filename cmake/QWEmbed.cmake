# Writes OUTPUT, a C++ source that holds every file below ROOT as the table that platform/base/internal/Resources.h looks into.
file(GLOB_RECURSE files RELATIVE ${ROOT} ${ROOT}/*)
list(SORT files)
set(table "")
foreach(file ${files})
  file(READ ${ROOT}/${file} bytes HEX)
  string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
  string(APPEND table "    {\"${file}\"sv, \"${bytes}\"sv},\n")
endforeach()
file(WRITE ${OUTPUT} "#include \"platform/base/internal/Resources.h\"

using namespace std::string_view_literals;

namespace qw {
namespace {
constexpr Resource kResources[] = {
${table}    {},
};
}  // namespace

std::span<const Resource> resources() { return std::span(kResources).first(std::size(kResources) - 1); }
}  // namespace qw
")
