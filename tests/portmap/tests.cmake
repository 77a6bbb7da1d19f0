velt_test(portmap_test SOURCES portmap/mapper_test.cpp support/service_process.cpp
  LINK velt-host)
