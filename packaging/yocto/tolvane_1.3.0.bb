# An example to start from. It was not built here: the project has no Yocto tree to try it in. It needs CMake 3.25 or
# later from your release.
SUMMARY = "Configures the bridge of an embedded Ethernet switch"
# The owner has not chosen a licence yet; see LICENSE.
LICENSE = "CLOSED"

SRC_URI = "file://tolvane-${PV}.tar.gz"
# The recipe of your switch's libraries. They have no version in their names: that recipe has to keep them in its main
# package (SOLIBS = ".so", FILES_SOLIBSDEV = ""), or nothing provides them on the switch.
DEPENDS = "switch-libraries"
# For the names of IP protocols in /etc/protocols.
RRECOMMENDS:${PN} = "netbase"

inherit cmake

EXTRA_OECMAKE = " \
    -DTOLVANE_EMULATOR=OFF \
    -DTOLVANE_TESTS=OFF \
    -DTOLVANE_WERROR=OFF \
    -DTOLVANE_SWITCH_LIBRARIES=${STAGING_LIBDIR} \
"

# The tool alone: no manuals, headers and completion on the switch.
do_install() {
    DESTDIR='${D}' cmake --install '${B}' --component tool
}
