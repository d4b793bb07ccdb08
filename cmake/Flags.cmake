# Warnings, hardening, sanitizers and coverage, the same for every room.

add_compile_options(
  -Wall -Wextra -Wpedantic $<$<BOOL:${CORVANE_WERROR}>:-Werror> -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align -Wnon-virtual-dtor
  -Wundef -Wformat=2 -Wno-format-nonliteral -Wdouble-promotion
  # Inline functions' statics as unique symbols would pin the plug-in in memory at dlclose.
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)

# Position-independent programs, tables that are read-only once the loader has filled them, guarded stacks, checked buffers.
include(CheckPIESupported)
check_pie_supported()
add_compile_options(-fstack-protector-strong)
add_link_options(-Wl,-z,relro -Wl,-z,now)
if(CMAKE_BUILD_TYPE MATCHES "^Rel" AND NOT CORVANE_SANITIZE AND NOT CORVANE_COVERAGE)
  # It needs the optimizer, and hides calls from the sanitizers.
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()

if(CORVANE_SANITIZE)
  add_compile_options(-fsanitize=${CORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
  add_link_options(-fsanitize=${CORVANE_SANITIZE})
endif()
if(CORVANE_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(CORVANE_COVERAGE)
  add_compile_options(-O0 -fprofile-instr-generate -fcoverage-mapping -fcoverage-mcdc)
  add_link_options(-fprofile-instr-generate)
endif()
