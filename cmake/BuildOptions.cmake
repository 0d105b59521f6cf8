# Every target of this project links build_options: the warnings are errors everywhere, and a
# sanitizer runs in all of a program or in none of it.
add_library(build_options INTERFACE)
target_compile_options(build_options INTERFACE -Wall -Wextra -Werror
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)

if(SETTINGS_SANITIZE)
  target_compile_options(build_options INTERFACE
    -fsanitize=${SETTINGS_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
    # GCC mistakes the sanitizers' own code for use of uninitialised values.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(build_options INTERFACE -fsanitize=${SETTINGS_SANITIZE})
endif()
