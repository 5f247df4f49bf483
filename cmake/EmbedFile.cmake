# Writes a header that holds the bytes of a file as `constexpr std::uint8_t <name>[]` in namespace velk.
function(velk_embed_file input header name)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${input}")
  file(READ "${input}" hex HEX)
  string(REGEX REPLACE "(................................)" "\\1\n" lines "${hex}")
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${lines}")
  get_filename_component(source "${input}" NAME)
  file(CONFIGURE OUTPUT "${header}" @ONLY CONTENT "// Made from @source@ when the build was configured.
#pragma once

#include <cstdint>

namespace velk {

constexpr std::uint8_t @name@[] = {
@bytes@
};

} // namespace velk
")
endfunction()
