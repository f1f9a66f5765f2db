# Warnings, hardening and instrumentation, the same for every target.

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlapping copies in `"text" + std::string` where there are none.
  add_compile_options(-Wno-restrict)
endif()
if(TARVEK_WERROR)
  add_compile_options(-Werror)
endif()

if(TARVEK_SANITIZE)
  add_compile_options(-fsanitize=${TARVEK_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TARVEK_SANITIZE})
endif()
if(TARVEK_COVERAGE)
  add_compile_options(-fprofile-arcs -ftest-coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# tarvek_not_counted(): what is added to this directory from here on is not instrumented for gcov:
# it is there to test the product, and takes most of the time.
function(tarvek_not_counted)
  if(TARVEK_COVERAGE)
    add_compile_options(-fno-profile-arcs -fno-test-coverage)
    set(TARVEK_NOT_COUNTED ON PARENT_SCOPE)
  endif()
endfunction()

# The hardened release: position independent, read-only relocations, guarded stacks.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT TARVEK_SANITIZE)
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE
                      -D_FORTIFY_SOURCE=2 -D_GLIBCXX_ASSERTIONS)
  include(CheckCXXCompilerFlag)
  check_cxx_compiler_flag(-fcf-protection TARVEK_HAS_CF_PROTECTION)  # x86 alone has it
  if(TARVEK_HAS_CF_PROTECTION)
    add_compile_options(-fcf-protection)
  endif()
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
endif()

# tarvek_library(NAME SOURCES ... LINKS ...): a folder's static library, included by
# its path from the top ("driver/reporting/history_log.h").
function(tarvek_library name)
  cmake_parse_arguments(LIB "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${LIB_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${LIB_LINKS})
endfunction()
