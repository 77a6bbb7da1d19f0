velt_test(transport_test SOURCES transport/transport_test.cpp LINK test_peers)

# It measures memory, of which a sanitizer keeps what is freed.
velt_test(soak_test SOURCES transport/soak.cpp LINK velt-host LABELS no-valgrind no-sanitizers)
needs_client(soak_test)
