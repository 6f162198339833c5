# Only findings of these compilers and checkers are errors: those of Debian 12, and the compiler of
# Debian 13. Other versions have other warnings, which must not stop a build.
set(strict_compilers "GNU 12" "GNU 14" "Clang 14")
set(checkers_version 14)

string(REGEX MATCH "^[0-9]+" compiler_version "${CMAKE_CXX_COMPILER_VERSION}")
if(NOT TARVEX_STRICT)
elseif("${CMAKE_CXX_COMPILER_ID} ${compiler_version}" IN_LIST strict_compilers)
  set(CMAKE_COMPILE_WARNING_AS_ERROR ON)
else()
  message(NOTICE "Warnings of ${CMAKE_CXX_COMPILER_ID} ${compiler_version} are not errors.")
endif()

if(TARVEX_CHECKERS)
  foreach(checker clang-tidy clang-format)
    find_program(${checker} ${checker}-${checkers_version})
    if(NOT ${checker})
      message(NOTICE "${checker} does not run: version ${checkers_version} is not installed.")
    endif()
  endforeach()
  if(clang-tidy)
    set(CMAKE_CXX_CLANG_TIDY ${clang-tidy} --quiet)
  endif()
endif()
