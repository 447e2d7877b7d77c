# See ../rules.mk. Whoever reads the recipe has built and installed the sources.
