velt_test(api_values_test SOURCES api/wire_test.cpp api/values_test.cpp support/heap.cpp
  LINK velt-api-static)
velt_test(api_calls_test SOURCES api/calls_test.cpp support/raw_host.cpp support/service_process.cpp
  support/heap.cpp LINK velt-host velt-api-static)

watch_heap(api_values_test api_calls_test)

velt_test(api_session_test SOURCES api/session_test.cpp support/raw_host.cpp support/service_process.cpp
  LINK velt-host velt-api-static)
needs_client(api_session_test)
