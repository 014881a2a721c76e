# The archive that cpack makes; Debian packages are made by scripts/packages.
set(CPACK_GENERATOR TGZ)
set(CPACK_PACKAGE_CONTACT "the libmoxj maintainers <maintainers@example.org>")
set(CPACK_PACKAGE_NAME libmoxj)
include(CPack)
