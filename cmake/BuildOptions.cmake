# Every target of this project links build_options: the warnings are the same everywhere, and a
# sanitizer runs in all of a program or in none of it. The presets make the warnings errors;
# whatever else a product's compiler finds does not stop the product from being built.
add_library(build_options INTERFACE)
target_compile_options(build_options INTERFACE -Wall -Wextra
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
  # What is installed does not say where it was built. A debugger wants to know.
  $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>
  $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=build>)

if(SETTINGS_SANITIZE)
  target_compile_options(build_options INTERFACE
    -fsanitize=${SETTINGS_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
    # GCC mistakes the sanitizers' own code for use of uninitialised values.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(build_options INTERFACE -fsanitize=${SETTINGS_SANITIZE})
endif()
