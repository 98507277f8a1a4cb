################################################################################
#
# tolvane
#
# An example to start from. It was not built here: the project has no Buildroot
# tree to try it in. packaging/buildroot/ goes to package/tolvane/ of yours.
#
################################################################################

TOLVANE_VERSION = 1.3.0
TOLVANE_SITE = $(TOPDIR)/../tolvane
TOLVANE_SITE_METHOD = local
# The package of your switch's libraries.
TOLVANE_DEPENDENCIES = switch-libraries

TOLVANE_CONF_OPTS = \
	-DTOLVANE_EMULATOR=OFF \
	-DTOLVANE_TESTS=OFF \
	-DTOLVANE_WERROR=OFF \
	-DTOLVANE_SWITCH_LIBRARIES=$(STAGING_DIR)/usr/lib

define TOLVANE_INSTALL_TARGET_CMDS
	DESTDIR=$(TARGET_DIR) $(BR2_CMAKE) --install $(@D) --component tool
endef

$(eval $(cmake-package))
