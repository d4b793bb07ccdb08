# For another host: its declarations alone are seen, in place of ours. CORVANE_HOST_ROOT/host/api has all of them.
file(GLOB headers RELATIVE ${CMAKE_SOURCE_DIR}/host/api CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/host/api/*.h)
set(missing "")
foreach(header IN LISTS headers)
  if(NOT EXISTS ${CORVANE_HOST_ROOT}/host/api/${header})
    list(APPEND missing ${header})
  endif()
endforeach()
if(missing)
  list(JOIN missing ", " missing)
  message(FATAL_ERROR "CORVANE_HOST_ROOT: ${CORVANE_HOST_ROOT}/host/api lacks ${missing}. That host's declarations go there, under "
                      "the names of ours; docs/host-interface.md says what each must declare.")
endif()

# Our rooms but for the host's, so that the compiler cannot find a declaration of ours. Our warnings are not for that host's
# headers, hence SYSTEM.
set(rooms ${CMAKE_BINARY_DIR}/rooms)
file(REMOVE_RECURSE ${rooms})
file(MAKE_DIRECTORY ${rooms})
foreach(room plugin console monitor hostcheck)
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${room} ${rooms}/${room} SYMBOLIC)
endforeach()
include_directories(${rooms})
include_directories(SYSTEM ${CORVANE_HOST_ROOT})
