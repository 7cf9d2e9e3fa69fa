# What packages are made of: scripts/make-packages.sh makes them. Debian's are one for each component of
# the installation, all others have everything.
set(CPACK_PACKAGE_NAME tavrin)
set(CPACK_PACKAGE_VENDOR "The developers of Tavrin")
set(CPACK_PACKAGE_CONTACT "The developers of Tavrin <developers@tavrin.invalid>")
string(TOLOWER ${CMAKE_SYSTEM_NAME} system)
set(CPACK_PACKAGE_FILE_NAME tavrin-${PROJECT_VERSION}-${system}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(PW_DEBIAN)
  include(cmake/DebianPackages.cmake)
endif()
include(CPack)
