#include "bench/PacketOnePass.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace wkt::bench {
namespace {

constexpr size_t kNumberUnits = 20;
constexpr size_t kVersionUnits = 4;
constexpr size_t kReferenceUnits = 40;
constexpr size_t kFixedUnits =
    14 + kVersionUnits + 8 * kNumberUnits + 3 * kReferenceUnits + 2 * kNumberUnits;
static_assert(kFixedUnits * 2 == 676);

class Writer {
 public:
  explicit Writer(uint8_t* to) : at_(to) {}
  void Fixed(std::u16string_view text, size_t unitCount) {
    const size_t used = std::min(text.size(), unitCount - 1);
    std::memcpy(at_, text.data(), used * 2);
    std::memset(at_ + used * 2, 0, (unitCount - used) * 2);
    at_ += unitCount * 2;
  }
  void Variable(const std::u16string& text) {
    std::memcpy(at_, text.c_str(), (text.size() + 1) * 2);
    at_ += (text.size() + 1) * 2;
  }
  void Number(int32_t number, size_t unitCount) {
    char digits[16];
    const char* const end = std::to_chars(digits, std::end(digits), number).ptr;
    const size_t used = std::min(static_cast<size_t>(end - digits), unitCount - 1);
    for (size_t i = 0; i < used; ++i) {
      at_[2 * i] = static_cast<uint8_t>(digits[i]);
      at_[2 * i + 1] = 0;
    }
    std::memset(at_ + used * 2, 0, (unitCount - used) * 2);
    at_ += unitCount * 2;
  }
  void Time(uint64_t time) {
    Number(static_cast<int32_t>(time >> 32), kNumberUnits);
    Number(static_cast<int32_t>(time), kNumberUnits);
  }

 private:
  uint8_t* at_;
};

class Reader {
 public:
  explicit Reader(const uint8_t* from) : at_(from) {}
  void Skip(size_t unitCount) { at_ += unitCount * 2; }
  void Fixed(std::u16string& text, size_t unitCount) {
    text.assign(reinterpret_cast<const char16_t*>(at_));
    at_ += unitCount * 2;
  }
  void Variable(std::u16string& text) {
    text.assign(reinterpret_cast<const char16_t*>(at_));
    at_ += (text.size() + 1) * 2;
  }
  int32_t Number(size_t unitCount) {
    char digits[16];
    size_t used = 0;
    for (; used < sizeof(digits) && at_[2 * used]; ++used)
      digits[used] = static_cast<char>(at_[2 * used]);
    int32_t number = 0;
    std::from_chars(digits, digits + used, number);
    at_ += unitCount * 2;
    return number;
  }
  uint64_t Time() {
    const auto high = static_cast<uint32_t>(Number(kNumberUnits));
    return uint64_t{high} << 32 | static_cast<uint32_t>(Number(kNumberUnits));
  }

 private:
  const uint8_t* at_;
};

}  // namespace

std::unique_ptr<uint8_t[]> EncodeInOnePass(const WideJob& job, size_t& byteCount) {
  byteCount = 2 * (kFixedUnits + job.jobId.size() + job.title.size() + job.comment.size() +
                   job.personIds.size() + job.unused3.size() + 5);
  std::unique_ptr<uint8_t[]> bytes(new uint8_t[byteCount]);
  Writer writer(bytes.get());
  writer.Fixed(u"Worktally", 10);
  writer.Fixed(u"act", 4);
  writer.Variable(job.jobId);
  writer.Number(job.versionNumber, kVersionUnits);
  writer.Time(job.modificationTime);
  writer.Variable(job.title);
  writer.Variable(job.comment);
  for (const std::u16string* const text : {&job.workTypeId, &job.projectId, &job.teamworkId})
    writer.Fixed(*text, kReferenceUnits);
  writer.Time(job.startTime);
  writer.Time(job.endTime);
  writer.Variable(job.personIds);
  writer.Fixed(job.flags, kNumberUnits);
  writer.Number(job.unused2, kNumberUnits);
  writer.Variable(job.unused3);
  writer.Time(job.localDay);
  return bytes;
}

void DecodeInOnePass(const uint8_t* bytes, WideJob& job) {
  Reader reader(bytes);
  reader.Skip(14);
  reader.Variable(job.jobId);
  job.versionNumber = reader.Number(kVersionUnits);
  job.modificationTime = reader.Time();
  reader.Variable(job.title);
  reader.Variable(job.comment);
  for (std::u16string* const text : {&job.workTypeId, &job.projectId, &job.teamworkId})
    reader.Fixed(*text, kReferenceUnits);
  job.startTime = reader.Time();
  job.endTime = reader.Time();
  reader.Variable(job.personIds);
  reader.Fixed(job.flags, kNumberUnits);
  job.unused2 = reader.Number(kNumberUnits);
  reader.Variable(job.unused3);
  job.localDay = reader.Time();
}

}  // namespace wkt::bench
