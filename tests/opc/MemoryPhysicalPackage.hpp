// Test support: an in-memory container that shows exactly which items and bytes a package
// writes, and lets a test lay out items as any other writer would.
#pragma once

#include <gmock/gmock.h>

#include <map>
#include <memory>
#include <opc/Stream.hpp>
#include <opc/interfaces/IPhysicalPackage.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "MemoryStreams.hpp"

namespace opctest {

using opc::interfaces::CompressionType;
using opc::interfaces::OpenMode;

/// One stored item with the hints it was created with.
struct MemoryItem {
  std::string name;
  std::string bytes;
  CompressionType compression = CompressionType::Deflated;
  std::uint64_t sizeHint = 0;
};

class MemoryPhysicalPackage : public opc::interfaces::IPhysicalPackage {
 public:
  explicit MemoryPhysicalPackage(std::u16string path = u"memory.kzf") : path_(std::move(path)) {}

  /// Adds an item directly, as another writer would have stored it (for reading).
  void addItem(const std::string& name, const std::string& bytes) {
    items_.push_back({name, bytes, CompressionType::Deflated, 0});
  }
  /// Adds a "[Content_Types].xml" item holding `entries`.
  void addContentTypes(const std::string& entries) {
    addItem("[Content_Types].xml",
            "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>" +
                entries + "</Types>");
  }
  /// The committed items, in order.
  const std::vector<MemoryItem>& items() const { return items_; }
  std::vector<std::string> itemNames() const {
    std::vector<std::string> names;
    for (const auto& item : items_) names.push_back(item.name);
    return names;
  }
  /// The bytes of a committed item; fails the test when it is absent.
  std::string item(const std::string& name) const {
    for (const auto& item : items_) {
      if (item.name == name) return item.bytes;
    }
    ADD_FAILURE() << "no item " << name;
    return {};
  }
  bool hasItem(const std::string& name) const {
    for (const auto& item : items_) {
      if (item.name == name) return true;
    }
    return false;
  }
  int abandonCount() const { return abandons_; }

  void open(OpenMode mode) override {
    if (open_) throw std::runtime_error("memory container already open");
    mode_ = mode;
    open_ = true;
    pending_.clear();
    current_.reset();
    if (mode == OpenMode::Read) {
      listing_.clear();
      for (const auto& item : items_) {
        opc::interfaces::PhysicalItem listed;
        listed.name = item.name;
        listed.size = item.bytes.size();
        listing_.push_back(listed);
      }
    }
  }
  void close(bool abandon) override {
    if (!open_) return;
    open_ = false;
    if (current_) current_->finish();
    current_.reset();
    if (mode_ == OpenMode::Create) {
      if (abandon) {
        ++abandons_;
      } else {
        items_ = std::move(pending_);
      }
      pending_ = {};
    }
  }
  bool isOpen() const override { return open_; }
  OpenMode getMode() const override { return mode_; }
  const std::u16string& getPath() const override { return path_; }

  const std::vector<opc::interfaces::PhysicalItem>& getItems() const override { return listing_; }
  const opc::interfaces::PhysicalItem* findItem(const std::string& name) const override {
    for (const auto& item : listing_) {
      if (item.name == name) return &item;
    }
    return nullptr;
  }
  std::unique_ptr<opc::InputStream> openItem(const std::string& name) override {
    ++opens_[name];
    for (const auto& item : items_) {
      if (item.name == name) return std::make_unique<kzftest::TextInputStream>(item.bytes);
    }
    throw std::runtime_error("memory container: no item " + name);
  }
  std::unique_ptr<opc::InputStream> openItemAt(std::size_t index) override {
    return openItem(listing_.at(index).name);
  }
  /// How often each item was opened for reading.
  int openCount(const std::string& name) const {
    auto found = opens_.find(name);
    return found == opens_.end() ? 0 : found->second;
  }

  std::shared_ptr<opc::OutputStream> createItem(const std::string& name,
                                                CompressionType compression,
                                                std::uint64_t sizeHint) override {
    if (!open_ || mode_ != OpenMode::Create) throw std::runtime_error("not open for creation");
    if (current_) current_->finish();
    pending_.push_back({name, {}, compression, sizeHint});
    current_ = std::make_shared<ItemOutput>(this, pending_.size() - 1);
    return current_;
  }

 private:
  class ItemOutput : public opc::OutputStream {
   public:
    ItemOutput(MemoryPhysicalPackage* owner, std::size_t index) : owner_(owner), index_(index) {}
    std::size_t write(const char* data, std::size_t count) override {
      if (finished_)
        throw std::runtime_error("item " + owner_->pending_[index_].name + " is finished");
      owner_->pending_[index_].bytes.append(data, count);
      return count;
    }
    void flush() override {}
    void finish() { finished_ = true; }

   private:
    MemoryPhysicalPackage* owner_;
    std::size_t index_;
    bool finished_ = false;
  };

  std::u16string path_;
  bool open_ = false;
  OpenMode mode_ = OpenMode::Read;
  std::vector<MemoryItem> items_;
  std::vector<MemoryItem> pending_;
  std::vector<opc::interfaces::PhysicalItem> listing_;
  std::shared_ptr<ItemOutput> current_;
  std::map<std::string, int> opens_;
  int abandons_ = 0;
};

}  // namespace opctest
