# The libraries that the executable stands on; each is used by one room of src/platform.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(tl-expected REQUIRED)
find_package(fmt REQUIRED)
find_package(GIF REQUIRED)

option(VELK_STATIC_CODECS "Link the codec libraries into the executable, which then starts faster" ON)

pkg_check_modules(VELK_LIBS REQUIRED IMPORTED_TARGET lcms2)
pkg_check_modules(VELK_CODECS REQUIRED IMPORTED_TARGET
  libtiff-4 libwebpmux libwebpdemux libwebp libopenjp2 imagequant libpng libjpeg libdeflate zlib)
pkg_check_modules(EXIV2 REQUIRED IMPORTED_TARGET exiv2)

add_library(velk_dependencies INTERFACE)
target_link_libraries(velk_dependencies INTERFACE PkgConfig::VELK_LIBS fmt::fmt tl::expected)

# Sixteen shared libraries fewer to find, map and relocate at every start. Archives come before what they need.
set(VELK_ARCHIVES)
if(VELK_STATIC_CODECS)
  foreach(name tiff Lerc jbig zstd lzma webpmux webpdemux webp openjp2 imagequant gif png16 jpeg deflate z)
    find_library(VELK_ARCHIVE_${name} lib${name}.a)
    list(APPEND VELK_ARCHIVES ${VELK_ARCHIVE_${name}})
  endforeach()
endif()
if(VELK_STATIC_CODECS AND NOT "${VELK_ARCHIVES}" MATCHES "NOTFOUND")
  target_include_directories(velk_dependencies SYSTEM INTERFACE ${VELK_CODECS_INCLUDE_DIRS})
  # Debian's archive of imagequant uses OpenMP.
  target_link_libraries(velk_dependencies INTERFACE ${VELK_ARCHIVES} -l:libgomp.a)
else()
  target_link_libraries(velk_dependencies INTERFACE PkgConfig::VELK_CODECS GIF::GIF)
endif()
target_link_libraries(velk_dependencies INTERFACE Threads::Threads ${CMAKE_DL_LIBS})

# What only the script module stands on.
pkg_search_module(MOZJS REQUIRED IMPORTED_TARGET mozjs-140 mozjs-128 mozjs-115 mozjs-102)
pkg_check_modules(VELK_STUDIO REQUIRED IMPORTED_TARGET pangoft2 harfbuzz fontconfig freetype2)
add_library(velk_studio_dependencies INTERFACE)
target_link_libraries(velk_studio_dependencies INTERFACE
  PkgConfig::MOZJS PkgConfig::VELK_STUDIO Threads::Threads)
