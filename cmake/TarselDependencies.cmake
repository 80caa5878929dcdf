# The system's libraries. Nothing is downloaded while configuring.

find_package(Threads REQUIRED)
find_package(Boost 1.74 REQUIRED COMPONENTS thread)
find_package(glog REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(LibAvUtil REQUIRED IMPORTED_TARGET libavutil)
pkg_check_modules(LibAvCodec REQUIRED IMPORTED_TARGET libavcodec)
pkg_check_modules(LibAvFormat REQUIRED IMPORTED_TARGET libavformat)
pkg_check_modules(LibSwScale REQUIRED IMPORTED_TARGET libswscale)
pkg_check_modules(LibSwResample REQUIRED IMPORTED_TARGET libswresample)
pkg_check_modules(RubberBand REQUIRED IMPORTED_TARGET rubberband)
