# The libraries that the executable stands on; each is used by one room of src/platform.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(tl-expected REQUIRED)
find_package(fmt REQUIRED)

pkg_check_modules(VELK_LIBS REQUIRED IMPORTED_TARGET
  libjpeg libpng libdeflate zlib libtiff-4 libwebp libwebpmux libwebpdemux libopenjp2 imagequant
  lcms2)
pkg_check_modules(EXIV2 REQUIRED IMPORTED_TARGET exiv2)
find_package(GIF REQUIRED)

add_library(velk_dependencies INTERFACE)
target_link_libraries(velk_dependencies INTERFACE PkgConfig::VELK_LIBS GIF::GIF fmt::fmt-header-only tl::expected Threads::Threads ${CMAKE_DL_LIBS})
