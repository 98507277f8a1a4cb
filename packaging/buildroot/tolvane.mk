################################################################################
#
# tolvane
#
# An example to start from. It was not built here: the project has no Buildroot
# tree to try it in. packaging/buildroot/ goes to package/tolvane/ of yours,
# whose CMake has to be 3.25 or later.
#
################################################################################

TOLVANE_VERSION = 1.3.0
TOLVANE_SITE = $(TOPDIR)/../tolvane
TOLVANE_SITE_METHOD = local
# The owner has not chosen a licence yet.
TOLVANE_LICENSE = not chosen
TOLVANE_LICENSE_FILES = LICENSE
TOLVANE_REDISTRIBUTE = NO
# The package of your switch's libraries.
TOLVANE_DEPENDENCIES = switch-libraries

TOLVANE_CONF_OPTS = \
	-DTOLVANE_EMULATOR=OFF \
	-DTOLVANE_TESTS=OFF \
	-DTOLVANE_WERROR=OFF \
	-DTOLVANE_SWITCH_LIBRARIES=$(STAGING_DIR)/usr/lib

# The tool alone: no manuals, headers and completion on the switch.
define TOLVANE_INSTALL_TARGET_CMDS
	$(TARGET_MAKE_ENV) DESTDIR=$(TARGET_DIR) $(BR2_CMAKE) --install $(@D) --component tool
endef

$(eval $(cmake-package))
