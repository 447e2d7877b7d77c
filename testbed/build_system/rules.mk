# Stands in for the build system of images: reads a recipe and turns each package in it into a
# directory. Leaves out what our recipe does not need; --warn-undefined-variables tells if it does.
#
# Variables of the caller:
#   TOPDIR           this directory
#   PKG_BUILD_DIR    the sources
#   PKG_INSTALL_DIR  where "make install" of the sources has put its files
#   OUT              per package NAME: NAME/root, with its files; NAME/depends, NAME/conffiles and
#                    NAME/prerm; and for all packages together: cmake_options
INCLUDE_DIR := $(TOPDIR)/include
INSTALL_DIR := install -d -m0755
INSTALL_BIN := install -m0755
INSTALL_DATA := install -m0644
INSTALL_CONF := install -m0600
CMAKE_OPTIONS :=
