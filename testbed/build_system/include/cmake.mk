# See ../rules.mk. Stands in for the file that builds with CMake, and does nothing: the sources have
# been built and installed before the recipe is read.
