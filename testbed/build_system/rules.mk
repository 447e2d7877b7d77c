# Stands in for the build system of images: reads a recipe, and makes of each package a directory with
# what it says. It knows no more than our recipe needs; --warn-undefined-variables tells of the rest.
#
# Variables of the caller:
#   TOPDIR           this directory
#   PKG_BUILD_DIR    the sources
#   PKG_INSTALL_DIR  where "make install" of the sources has put its files
#   OUT              per package NAME: NAME/root, with its files; NAME/depends, NAME/conffiles and
#                    NAME/prerm. And cmake_options, one for all.
INCLUDE_DIR := $(TOPDIR)/include
INSTALL_DIR := install -d -m0755
INSTALL_BIN := install -m0755
INSTALL_DATA := install -m0644
INSTALL_CONF := install -m0600
CMAKE_OPTIONS :=
