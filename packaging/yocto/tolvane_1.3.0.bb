# An example to start from. It was not built here: the project has no Yocto tree to try it in.
SUMMARY = "Configures the bridge of an embedded Ethernet switch"
# The owner has not chosen a licence yet; see LICENSE.
LICENSE = "CLOSED"

SRC_URI = "file://tolvane-${PV}.tar.gz"
# The recipe of your switch's libraries.
DEPENDS = "switch-libraries"

inherit cmake

EXTRA_OECMAKE = " \
    -DTOLVANE_EMULATOR=OFF \
    -DTOLVANE_TESTS=OFF \
    -DTOLVANE_WERROR=OFF \
    -DTOLVANE_SWITCH_LIBRARIES=${STAGING_LIBDIR} \
"

do_install() {
    DESTDIR='${D}' cmake --install '${B}' --component tool
}
