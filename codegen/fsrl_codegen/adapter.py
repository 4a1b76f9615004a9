"""Renders the signal adapter: the properties of every group, their E2E set-up,
reads and notifications (initialfrontsideradarlefthal_signal_adapter.h/.cpp and
its private _impl.h). The work is done once for all groups by code in the
templates; what is rendered per group is table-shaped."""

from .cpp import PREFIX, banner, cpp_string, fill, wrap_call, x_macro

# The adapter's client name at the signal service and the prefix of every property name.
ADAPTER_CLIENT_NAME = "InitialFrontSideRadarLeftHal"


def property_type(group):
    return "zol::e2e::E2ESignalGroupProperty<types::%s>" % group.name


def render_header(cat):
    return fill("signal_adapter/signal_adapter.h", banner=banner(), n_groups=len(cat.groups),
                client_name=ADAPTER_CLIENT_NAME,
                group_list=x_macro("#define FSRL_FOR_EACH_SIGNAL_GROUP(X)",
                                   ["X(%d, %s, %s)" % (g.index, g.name, g.stem) for g in cat.groups]).rstrip("\n"),
                accessors="".join("  ZOL_NODISCARD std::shared_ptr<%s> %s() const;\n" % (property_type(g), g.stem)
                                  for g in cat.groups))


def render_impl_header(cat):
    groups = cat.groups
    return fill(
        "signal_adapter/signal_adapter_impl.h", banner=banner(), n_groups=len(groups),
        member_list=x_macro("#define FSRL_FOR_EACH_SIGNAL_GROUP_MEMBERS(X)",
                            ["X(%d, %s, %s, %s)" % (g.index, g.name, g.stem, g.e2e_stem) for g in groups]).rstrip("\n"),
        getters="".join("  std::shared_ptr<Property<types::%s>> get_%s() const;\n" % (g.name, g.stem)
                        for g in groups),
        copy_declarations="".join(
            "  void CopyTo_%s(const zol::e2e::SignalStorageBuffer& values, types::%s* record) const;\n"
            % (g.name, g.name) for g in groups),
        owners="".join("  Owner<types::%s> %s_;\n" % (g.name, g.stem) for g in groups),
        e2e_members="".join("  const zol::e2e::SignalGroupContext %s_db_info_;\n"
                            "  zol::e2e::E2eProtectionProfile5Ptr %s_e2e_protection_;\n" % (g.e2e_stem, g.e2e_stem)
                            for g in groups))


def _property_make(group):
    es = group.e2e_stem
    typed_read = wrap_call("        return ReadTyped(", ["%dU" % group.index, es + "_db_info_",
                                                         "*%s_e2e_protection_" % es, "record", "status",
                                                         "&Impl::CopyTo_" + group.name], ");", width=120)
    return fill("signal_adapter/property_make.cpp", stem=group.stem, e2e_stem=es, name=group.name,
                index=group.index, typed_read=typed_read)


def _impl_getter(group):
    head = "std::shared_ptr<SignalAdapter::Impl::Property<types::%s>> SignalAdapter::Impl::get_%s()" % (
        group.name, group.stem)
    # clang-format's column limit of 120
    const_open = " const {" if len(head) + len(" const {") <= 120 else "\n    const {"
    return fill("signal_adapter/impl_getter.cpp", name=group.name, stem=group.stem, const_open=const_open)


def _copy_function(group):
    signature = wrap_call("void SignalAdapter::Impl::CopyTo_%s(" % group.name,
                          ["const zol::e2e::SignalStorageBuffer& values", "types::%s* record" % group.name],
                          ") const {", width=120)
    copies = "".join("  CopySlot(values.data[%dU], &record->%s);\n" % (s.slot, s.field) for s in group.signals)
    return fill("signal_adapter/copy_function.cpp", signature=signature, copies=copies)


def render_source(cat):
    groups = cat.groups
    return fill(
        "signal_adapter/signal_adapter.cpp", banner=banner(), n_groups=len(groups), client_name=ADAPTER_CLIENT_NAME,
        group_names="".join("    %s,\n" % cpp_string(g.name) for g in groups),
        group_messages="".join(fill("signal_adapter/group_messages.cpp", name=g.name) for g in groups),
        adapter_accessors="".join(fill("signal_adapter/adapter_accessor.cpp", name=g.name, stem=g.stem)
                                  for g in groups),
        database_contexts=",\n".join("      %s_db_info_(DatabaseContext(%dU))" % (g.e2e_stem, g.index)
                                     for g in groups),
        property_makes="".join(_property_make(g) for g in groups),
        protections=" &&\n".join("      MakeProtection(log_context_, %dU, %s_db_info_, %s_e2e_protection_)"
                                 % (g.index, g.e2e_stem, g.e2e_stem) for g in groups),
        property_cases="".join(fill("signal_adapter/property_case.cpp", index=g.index, stem=g.stem) for g in groups),
        impl_getters="".join(_impl_getter(g) for g in groups),
        copy_functions="".join(_copy_function(g) for g in groups))


def render(cat):
    return {
        PREFIX + "_signal_adapter.h": render_header(cat),
        PREFIX + "_signal_adapter_impl.h": render_impl_header(cat),
        PREFIX + "_signal_adapter.cpp": render_source(cat),
    }
