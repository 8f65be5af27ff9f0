// Sorted keys of an order, their bytes one behind the other.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace wkt::host {

class StoreKeyList {
 public:
  void Append(std::string_view key);
  void Insert(size_t index, std::string_view key);
  void Erase(size_t index);
  [[nodiscard]] size_t Count() const { return ends_.size(); }
  [[nodiscard]] std::string_view At(size_t index) const;
  // Number of keys below `key`.
  [[nodiscard]] size_t Below(std::string_view key) const;
  // Appends the keys from `index` up to, not including, `end`.
  void CopyTo(size_t index, size_t end, std::string& keys, std::vector<uint32_t>& ends) const;
  // Moves the keys from `index` on into a list of their own.
  std::unique_ptr<StoreKeyList> Split(size_t index);

 private:
  std::string bytes_;
  std::vector<uint32_t> ends_;
};

}  // namespace wkt::host
