#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdlib>
#include <random>
#include <string>

#include "txlib/jsonvalue.h"

namespace {

using Tamrin::Tessera::JsonValue;

/// About 5 MB of records as batch files hold them: short and long texts, whole and other numbers, nested lists.
const std::string& Document() {
  static const std::string text = [] {
    std::mt19937_64 random(20240607);
    std::string out = "[\n";
    for (int i = 0; out.size() < 5'000'000; ++i) {
      const auto number = [&random] { return std::to_string(static_cast<double>(random() % 36'000'000) / 1e5 - 180); };
      if (i != 0) out += ",\n";
      out += "  { \"id\": " + std::to_string(i) + ", \"name\": \"station " + std::to_string(random() % 100'000) +
             "\",\n    \"operator\": \"VANTIX.RegularExpressionSearch\", \"active\": " +
             (random() % 2 != 0 ? "true" : "false") +
             ", \"parent\": null,\n    \"description\": \"Gauge \\\"north\\\" of the Größe-Fluß bridge, line " +
             std::to_string(random() % 1000) + "\\n\",\n    \"position\": { \"x\": " + number() +
             ", \"y\": " + number() + " },\n    \"levels\": [";
      for (int k = 0; k < 8; ++k) out += (k != 0 ? ", " : "") + number();
      out += "],\n    \"tags\": [\"river\", \"daily\", \"checked by hand twice\"], \"serial\": " +
             std::to_string(random()) + " }";
    }
    return out + "\n]\n";
  }();
  return text;
}

void Count(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(bytes));
}

void ParseJsonValue(benchmark::State& state) {
  for (auto _ : state) {
    JsonValue value;
    if (!value.DeserializeUtf8(Document(), true, nullptr)) std::abort();
    benchmark::DoNotOptimize(value);
  }
  Count(state, Document().size());
}
BENCHMARK(ParseJsonValue)->Unit(benchmark::kMillisecond);

/// `flags` as JsonValue has them, or the tree's own defaults, which neither validate nor convert exactly.
template <unsigned flags>
void ParseRapidJson(benchmark::State& state) {
  for (auto _ : state) {
    rapidjson::Document document;
    document.Parse<flags>(Document().data(), Document().size());
    if (document.HasParseError()) std::abort();
    benchmark::DoNotOptimize(document);
  }
  Count(state, Document().size());
}
BENCHMARK_TEMPLATE(ParseRapidJson, rapidjson::kParseDefaultFlags)
    ->Name("ParseRapidJson")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(ParseRapidJson, rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
                                       rapidjson::kParseFullPrecisionFlag | rapidjson::kParseCommentsFlag |
                                       rapidjson::kParseTrailingCommasFlag)
    ->Name("ParseRapidJsonStrictly")
    ->Unit(benchmark::kMillisecond);

void SerializeJsonValue(benchmark::State& state) {
  JsonValue value;
  if (!value.DeserializeUtf8(Document(), true, nullptr)) std::abort();
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::string text = value.SerializeUtf8();
    bytes = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  Count(state, bytes);
}
BENCHMARK(SerializeJsonValue)->Unit(benchmark::kMillisecond);

void SerializeRapidJson(benchmark::State& state) {
  rapidjson::Document document;
  document.Parse(Document().data(), Document().size());
  std::size_t bytes = 0;
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    document.Accept(writer);
    bytes = buffer.GetSize();
    benchmark::DoNotOptimize(buffer.GetString());
  }
  Count(state, bytes);
}
BENCHMARK(SerializeRapidJson)->Unit(benchmark::kMillisecond);

/// A parsed value shares its parts with its copies, one written through operator[] does not.
void CopyJsonValue(benchmark::State& state) {
  JsonValue value;
  if (!value.DeserializeUtf8(Document(), true, nullptr)) std::abort();
  for (auto _ : state) {
    JsonValue copy(value);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyJsonValue);

}  // namespace
