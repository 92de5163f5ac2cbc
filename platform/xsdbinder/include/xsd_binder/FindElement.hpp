// Search of a bound document's top-level children by element type and id.
#pragma once

#include <type_traits>
#include <xsd_binder/Element.hpp>

namespace xsd_binder {

/// The first top-level child of `root` that is an `Element<K>` and whose id equals `id`, or
/// null. The binding supplies, found by argument-dependent lookup, `visitElements(root, f)`
/// (calls `f` on each top-level child in document order) and `id_matches(element, id)`. The
/// pointer is valid while `root` is neither changed nor destroyed.
template <typename K, typename Root>
const Element<K>* findElementByTypeAndId(const Element<Root>& root, const ustring& id) {
  const Element<K>* found = nullptr;
  visitElements(root, [&found, &id](const auto& child) {
    if constexpr (std::is_same_v<std::decay_t<decltype(child)>, Element<K>>) {
      if (found == nullptr && id_matches(child, id)) found = &child;
    }
  });
  return found;
}

}  // namespace xsd_binder
