// The mapping between settings and the configuration manifest's element tree.
#pragma once

#include <kzfpackage/KZFSettings.hpp>
#include <kzfpackage/kzf_manifest.hpp>

namespace Quorlith::kzfpackage {

/// The manifest tree of `settings`, with freshly generated ids: every distinct directory and
/// function declared once at the top, in the order of first reference, then the one
/// configuration, which "default-config" names.
xsd_binder::Element<kzf_manifest::manifest> buildManifestTree(const KZFSettings& settings);

/// Fills `settings` from the default configuration of `tree`, step by step; see
/// KZFSettingsSerializer::load for what is overwritten, appended and raised.
void fillSettingsFromTree(const xsd_binder::Element<kzf_manifest::manifest>& tree,
                          KZFSettings& settings);

}  // namespace Quorlith::kzfpackage
