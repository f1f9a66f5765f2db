# Read by cpack before it makes a package of the kind CPACK_GENERATOR: ends with the names of the
# Debian packages that this takes and that are not there.

if(CPACK_GENERATOR STREQUAL "DEB")
  set(programs file dpkg-shlibdeps)
  set(packages file dpkg-dev)
elseif(CPACK_GENERATOR STREQUAL "RPM")
  set(programs rpmbuild)
  set(packages rpm)
else()
  return()
endif()

set(missing "")
foreach(program package IN ZIP_LISTS programs packages)
  unset(found CACHE)
  find_program(found ${program})
  if(NOT found)
    list(APPEND missing ${package})
  endif()
endforeach()
if(missing)
  list(JOIN missing " " missing)
  message(FATAL_ERROR "A ${CPACK_GENERATOR} package cannot be made here without: ${missing}\n"
                      "On Debian: apt-get install ${missing}")
endif()
