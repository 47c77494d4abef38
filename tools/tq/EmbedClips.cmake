# cmake -DCLIPS=FILE;... -DOUTPUT=FILE.cpp -P EmbedClips.cmake: writes the clips as C++ arrays.
set(arrays "")
set(entries "")
set(number 0)
foreach(clip IN LISTS CLIPS)
  get_filename_component(name "${clip}" NAME)
  file(READ "${clip}" bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char kClip${number}[] = {${bytes}};\n")
  string(APPEND entries
    "      {\"${name}\", {reinterpret_cast<const char*>(kClip${number}), sizeof kClip${number}}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE "${OUTPUT}" "// Written by EmbedClips.cmake.
#include \"tools/tq/DemoClips.h\"

namespace tq::tool {
namespace {

${arrays}
}  // namespace

const std::vector<DemoClip>& demoClips() {
  static const auto& clips = *new std::vector<DemoClip>{
${entries}  };
  return clips;
}

}  // namespace tq::tool
")
