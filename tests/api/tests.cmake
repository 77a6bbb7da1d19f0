velt_test(api_values_test SOURCES api/wire_test.cpp api/values_test.cpp LINK test_heap velt-api-static)
velt_test(api_calls_test SOURCES api/calls_test.cpp LINK test_raw_host test_heap velt-host)

velt_test(api_session_test SOURCES api/session_test.cpp LINK test_raw_host velt-host)
needs_client(api_session_test)
