# Writes a C++ source that holds each bundled dump as a raw string literal,
# keyed by its plane (the file name without extension).
set(body "")
set(table "")
set(index 0)
foreach(input IN LISTS INPUTS)
  get_filename_component(plane ${input} NAME_WE)
  file(READ ${input} text)
  string(APPEND body "constexpr char dump_${index}[] = R\"plinth_bundled(${text})plinth_bundled\";\n")
  string(APPEND table "    {\"${plane}\", {dump_${index}, sizeof dump_${index} - 1}},\n")
  math(EXPR index "${index} + 1")
endforeach()
file(WRITE ${OUTPUT}.tmp "// Generated from sim/bundled/*.xml; do not edit.
#include \"sim/detail/registry/bundled_registry.hpp\"

// A dump is one long literal on purpose: compilers take literals far beyond the
// 65536 characters that the standard asks them to, and -Wpedantic would say so.
#if defined(__GNUC__)
#pragma GCC diagnostic ignored \"-Woverlength-strings\"
#endif

namespace plinth::sim::detail {
namespace {
${body}
constexpr bundled_dump dumps[] = {
${table}    {nullptr, {}},
};
} // namespace

std::span<bundled_dump const> bundled_registry_dumps() noexcept
{
    return {dumps, sizeof dumps / sizeof dumps[0] - 1};
}

} // namespace plinth::sim::detail
")
file(COPY_FILE ${OUTPUT}.tmp ${OUTPUT} ONLY_IF_DIFFERENT)
