velt_test(portmap_test
  SOURCES portmap/in_place.cpp portmap/mapper_test.cpp portmap/hostile_test.cpp
          portmap/place_test.cpp transport/service_process.cpp
  LINK vqhost-lib)
