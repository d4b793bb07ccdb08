# Warnings, sanitizers and coverage, the same for every room.

add_compile_options(
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align -Wnon-virtual-dtor
  -Wundef -Wformat=2 -Wno-format-nonliteral -Wdouble-promotion
  # Inline functions' statics as unique symbols would pin the plug-in in memory at dlclose.
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
if(CORVANE_SANITIZE)
  add_compile_options(-fsanitize=${CORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
  add_link_options(-fsanitize=${CORVANE_SANITIZE})
endif()
if(CORVANE_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(CORVANE_COVERAGE)
  add_compile_options(-O0 -fprofile-instr-generate -fcoverage-mapping -fcoverage-mcdc)
  add_link_options(-fprofile-instr-generate)
endif()
