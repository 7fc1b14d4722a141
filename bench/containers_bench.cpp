// Dictionaries beside the standard map in the same run; arrays and numbers.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"
#include "Runtime.h"

namespace {

using Dictionary = px::cf::Owned<CFMutableDictionaryRef>;
using Texts = std::vector<px::cf::Owned<CFStringRef>>;

std::vector<std::string> Words(size_t count)
{
    std::vector<std::string> words;
    for (size_t i = 0; i < count; ++i) words.push_back("key-" + std::to_string(i * 7919));
    return words;
}

Texts TextsOf(const std::vector<std::string>& words)
{
    Texts texts;
    for (const std::string& word : words) {
        texts.emplace_back(CFStringCreateWithCString(nullptr, word.c_str(), kCFStringEncodingUTF8));
    }
    return texts;
}

std::vector<size_t> Shuffled(size_t count)
{
    std::vector<size_t> order(count);
    for (size_t i = 0; i < count; ++i) order[i] = i;
    std::shuffle(order.begin(), order.end(), std::minstd_rand(3));
    return order;
}

Dictionary NewDictionary()
{
    return Dictionary(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks));
}

Dictionary Filled(const Texts& texts)
{
    Dictionary dictionary = NewDictionary();
    for (const auto& text : texts) {
        CFDictionarySetValue(dictionary.Get(), text.Get(), kCFBooleanTrue);
    }
    return dictionary;
}

void PerItem(benchmark::State& state, size_t count)
{
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
    state.counters["per_item"] = benchmark::Counter(
        static_cast<double>(count),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Finds every key once, in no order.
template <class Keys>
void LookUp(benchmark::State& state, const Texts& stored, const Keys& sought)
{
    const Dictionary dictionary = Filled(stored);
    const auto order = Shuffled(stored.size());
    for (auto _ : state) {
        for (const size_t i : order) {
            benchmark::DoNotOptimize(CFDictionaryGetValue(dictionary.Get(), sought[i].Get()));
        }
    }
    PerItem(state, stored.size());
}

// The keys sought are other objects than the stored ones, with the same text.
void DictionaryLookup(benchmark::State& state)
{
    const auto count = static_cast<size_t>(state.range(0));
    const auto words = Words(count);
    const Texts stored = TextsOf(words);
    const Texts sought = TextsOf(words);
    LookUp(state, stored, sought);
}
BENCHMARK(DictionaryLookup)->Arg(8)->Arg(100)->Arg(1000);

// The same with mutable strings, whose hash is not kept: every lookup reads the text.
void DictionaryLookupHashing(benchmark::State& state)
{
    const auto count = static_cast<size_t>(state.range(0));
    const Texts stored = TextsOf(Words(count));
    std::vector<px::cf::Owned<CFMutableStringRef>> sought;
    for (const auto& text : stored) {
        sought.emplace_back(CFStringCreateMutableCopy(nullptr, 0, text.Get()));
    }
    LookUp(state, stored, sought);
}
BENCHMARK(DictionaryLookupHashing)->Arg(100)->Arg(1000);

void DictionaryLookupSameObject(benchmark::State& state)
{
    const auto count = static_cast<size_t>(state.range(0));
    const Texts stored = TextsOf(Words(count));
    LookUp(state, stored, stored);
}
BENCHMARK(DictionaryLookupSameObject)->Arg(1000);

void StandardLookup(benchmark::State& state)
{
    const auto count = static_cast<size_t>(state.range(0));
    const auto words = Words(count);
    std::unordered_map<std::string, int> map;
    for (const std::string& word : words) map[word] = 1;
    const auto order = Shuffled(count);
    for (auto _ : state) {
        for (const size_t i : order) benchmark::DoNotOptimize(map.find(words[i]));
    }
    PerItem(state, count);
}
BENCHMARK(StandardLookup)->Arg(100)->Arg(1000);

// Building and giving back a whole dictionary.
void DictionaryInsert(benchmark::State& state)
{
    const auto count = static_cast<size_t>(state.range(0));
    const Texts texts = TextsOf(Words(count));
    for (auto _ : state) benchmark::DoNotOptimize(Filled(texts));
    PerItem(state, count);
}
BENCHMARK(DictionaryInsert)->Arg(8)->Arg(1000);

void StandardInsert(benchmark::State& state)
{
    const auto count = static_cast<size_t>(state.range(0));
    const auto words = Words(count);
    for (auto _ : state) {
        std::unordered_map<std::string, int> map;
        for (const std::string& word : words) map[word] = 1;
        benchmark::DoNotOptimize(map);
    }
    PerItem(state, count);
}
BENCHMARK(StandardInsert)->Arg(8)->Arg(1000);

void ArrayAppend(benchmark::State& state)
{
    const auto count = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        const px::cf::Owned<CFMutableArrayRef> array(
            CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
        for (size_t i = 0; i < count; ++i) CFArrayAppendValue(array.Get(), kCFBooleanTrue);
        benchmark::DoNotOptimize(array.Get());
    }
    PerItem(state, count);
}
BENCHMARK(ArrayAppend)->Arg(1000);

// A queue: append at the end, remove at the start.
void ArrayQueue(benchmark::State& state)
{
    const px::cf::Owned<CFMutableArrayRef> array(CFArrayCreateMutable(nullptr, 0, nullptr));
    for (intptr_t i = 0; i < state.range(0); ++i) CFArrayAppendValue(array.Get(), &state);
    for (auto _ : state) {
        CFArrayAppendValue(array.Get(), &state);
        CFArrayRemoveValueAtIndex(array.Get(), 0);
    }
    PerItem(state, 1);
}
BENCHMARK(ArrayQueue)->Arg(10)->Arg(10000);

void NumberCreate(benchmark::State& state)
{
    const int64_t value = state.range(0);
    for (auto _ : state) {
        CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
        benchmark::DoNotOptimize(number);
        CFRelease(number);
    }
    PerItem(state, 1);
}
BENCHMARK(NumberCreate)->Arg(7)->Arg(100000);

void RetainAndRelease(benchmark::State& state)
{
    const int64_t value = state.range(0);  // small ones are immortal
    const px::cf::Owned<CFNumberRef> number(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
    for (auto _ : state) {
        CFRetain(number.Get());
        CFRelease(number.Get());
        benchmark::ClobberMemory();
    }
    PerItem(state, 1);
}
BENCHMARK(RetainAndRelease)->Arg(7)->Arg(100000);

}  // namespace
