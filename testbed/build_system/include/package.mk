# See ../rules.mk. Stands in for the file that makes packages.
$(foreach name,PKG_NAME PKG_VERSION PKG_RELEASE PKG_INSTALL,$(if $($(name)),,$(error no $(name))))

known_fields := SECTION CATEGORY SUBMENU TITLE DEPENDS
known_parts := description conffiles install prerm
packages:
.PHONY: packages

# $(call part,PACKAGE,PART): its text.
part = $(if $(filter undefined,$(origin Package/$(1)/$(2))),,$(Package/$(1)/$(2)))

define BuildPackage
  $(foreach field,$(known_fields),$(eval $(field) :=))
  $(eval $(Package/$(1)))
  $(foreach field,SECTION CATEGORY TITLE,$(if $($(field)),,$(error $(1) has no $(field))))
  $(foreach name,$(filter Package/$(1)/%,$(.VARIABLES)),
    $(if $(filter $(known_parts),$(name:Package/$(1)/%=%)),,$(error $(name) is not known)))
  $(shell mkdir -p $(OUT)/$(1)/root)
  $(file >$(OUT)/$(1)/depends,$(strip $(DEPENDS)))
  $(file >$(OUT)/$(1)/conffiles,$(call part,$(1),conffiles))
  $(file >$(OUT)/$(1)/prerm,$(call part,$(1),prerm))
  $(file >$(OUT)/cmake_options,$(strip $(CMAKE_OPTIONS)))
.PHONY: package-$(1)
packages: package-$(1)
package-$(1):
$(call Package/$(1)/install,$(OUT)/$(1)/root)
endef
