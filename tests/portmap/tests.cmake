velt_test(portmap_test SOURCES portmap/mapper_test.cpp LINK test_peers velt-host)
