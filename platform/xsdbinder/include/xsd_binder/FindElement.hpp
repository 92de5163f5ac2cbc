// Search of a bound document's top-level children by element type and id.
#pragma once

#include <type_traits>
#include <unordered_map>
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

/// The top-level `Element<K>` children of a document keyed by id, built in one pass so that a
/// document of n references costs n look-ups rather than n walks. Where an id repeats, the first
/// child in document order is the one found, as with findElementByTypeAndId. The binding
/// supplies `visitElements` and `id_of(element)` (the element's id). Valid while the root is
/// neither changed nor destroyed.
template <typename K>
class ElementIndex {
 public:
  template <typename Root>
  explicit ElementIndex(const Element<Root>& root) {
    visitElements(root, [this](const auto& child) {
      if constexpr (std::is_same_v<std::decay_t<decltype(child)>, Element<K>>) {
        byId_.emplace(id_of(child), &child);  // keeps the first of an id
      }
    });
  }

  /// The first child of kind K with this id, or null.
  const Element<K>* find(const ustring& id) const {
    auto found = byId_.find(id);
    return found == byId_.end() ? nullptr : found->second;
  }

 private:
  std::unordered_map<ustring, const Element<K>*> byId_;
};

}  // namespace xsd_binder
