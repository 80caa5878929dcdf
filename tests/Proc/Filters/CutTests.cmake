# The tests of the cut controller and its streams.
tarsel_test(tarsel-cut-tests LABELS unit
  SOURCES
    Proc/Filters/CutSettingsTest.cpp
    Proc/Filters/PacketQueueTest.cpp
  LIBS tarsel-proc Tarsel::Contracts glog::glog PkgConfig::LibAvCodec PkgConfig::LibAvUtil)
