// 100,000 random questions: the same on every machine, so that only answers have to be stored.
#pragma once

#include <cstdint>
#include <string>

namespace wkt::foreign {

constexpr uint32_t kQuestionCount = 100'000;
// Answers are compared by a hash of as many.
constexpr uint32_t kBlockQuestions = 100;

// For numbers below kQuestionCount; in the language of Answer.
std::string Question(uint32_t number);

// FNV-1a over an answer and its end, going on from `hash`.
constexpr uint64_t kHashStart = 0xCBF29CE484222325;
uint64_t AddToHash(uint64_t hash, const std::string& answer);

}  // namespace wkt::foreign
