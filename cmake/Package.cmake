# The Debian package and the archive that cpack makes.
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_CONTACT "the libmoxj maintainers <maintainers@example.org>")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGE_NAME libmoxj)
include(CPack)
