// Microbenchmarks of the hot inner pieces: part names, content types, both manifests.
#include <kzfpackage/kzfpackage.hpp>

#include <benchmark/benchmark.h>

#include <sstream>
#include <string>
#include <vector>

using namespace Quorlith::kzfpackage;

namespace {

/// Destination names shaped like an application tree's.
std::vector<ustring> sampleNames(std::size_t count) {
  static const char* folders[] = {"toolbox/signal/", "app/lib/", "data/sets/", "resources/en/"};
  static const char* files[] = {"filter.m", "engine.vxfa64", "table 1.mat", "caf\xc3\xa9 #2.p"};
  std::vector<ustring> names;
  names.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    names.push_back(fl::i18n::to_ustring(std::string(folders[i % 4]) + "sub" + std::to_string(i) +
                                         "/" + files[(i / 4) % 4]));
  }
  return names;
}

void BM_PartNameEncoding(benchmark::State& state) {
  KZFPackage package(u"unused.kzf", KZFFileReaderFactory());
  const auto names = sampleNames(1024);
  std::size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(package.getEncodedURIString(names[i++ % 1024]));
}
BENCHMARK(BM_PartNameEncoding);

void BM_ContentTypeMapping(benchmark::State& state) {
  KZFPackage package(u"unused.kzf", KZFFileReaderFactory());
  const auto names = sampleNames(1024);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(package.mapFilenameToContentTypeString(names[i++ % 1024]));
  }
}
BENCHMARK(BM_ContentTypeMapping);

KZFExtractionManager manifestOf(std::size_t count) {
  KZFExtractionManager manager;
  const auto names = sampleNames(count);
  for (const ustring& name : names) {
    KZFFileEntry entry(name, u"/" + name, KZFFileEntryType::File);
    entry.setPermission(0100644);
    entry.setDate(boost::posix_time::ptime(boost::gregorian::date(2020, 5, 17),
                                           boost::posix_time::seconds(4242)));
    manager.addEntry(u"/" + name, entry);
  }
  return manager;
}

void BM_FileManifestSave(benchmark::State& state) {
  const KZFExtractionManager manager = manifestOf(static_cast<std::size_t>(state.range(0)));
  KZFExtractionSerializer serializer;
  for (auto _ : state) {
    std::ostringstream text;
    opc::StdOStreamAdaptor out(text);
    manager.save(out, serializer);
    benchmark::DoNotOptimize(text.str().size());
  }
}
BENCHMARK(BM_FileManifestSave)->Arg(50000)->Unit(benchmark::kMillisecond);

void BM_FileManifestLoad(benchmark::State& state) {
  std::ostringstream text;
  opc::StdOStreamAdaptor out(text);
  KZFExtractionSerializer serializer;
  manifestOf(static_cast<std::size_t>(state.range(0))).save(out, serializer);
  const std::string document = text.str();
  for (auto _ : state) {
    std::istringstream source(document);
    opc::StdIStreamAdaptor in(source);
    KZFExtractionManager manager;
    manager.load(in, serializer);
    benchmark::DoNotOptimize(manager.size());
  }
}
BENCHMARK(BM_FileManifestLoad)->Arg(50000)->Unit(benchmark::kMillisecond);

KZFSettings sampleSettings() {
  KZFSettings settings;
  settings.needJava = false;
  settings.needExclusiveVrtProcess = false;
  settings.componentName = u"bench";
  for (int i = 0; i < 200; ++i) {
    settings.velmorPath.push_back(u"/app/toolbox/t" + fl::i18n::to_ustring(std::to_string(i)));
    VelmorFunction function;
    function.name = u"f" + fl::i18n::to_ustring(std::to_string(i));
    function.location = function.name;
    function.inputs = {u"a", u"b"};
    function.outputs = {u"c"};
    settings.publicFunctions.push_back(function);
  }
  return settings;
}

void BM_SettingsSave(benchmark::State& state) {
  const KZFSettings settings = sampleSettings();
  for (auto _ : state) {
    std::ostringstream text;
    opc::StdOStreamAdaptor out(text);
    KZFSettingsSerializer().save(out, settings);
    benchmark::DoNotOptimize(text.str().size());
  }
}
BENCHMARK(BM_SettingsSave)->Unit(benchmark::kMicrosecond);

void BM_SettingsLoad(benchmark::State& state) {
  std::ostringstream text;
  opc::StdOStreamAdaptor out(text);
  KZFSettingsSerializer().save(out, sampleSettings());
  const std::string document = text.str();
  for (auto _ : state) {
    std::istringstream source(document);
    opc::StdIStreamAdaptor in(source);
    KZFSettings settings;
    KZFSettingsSerializer().load(in, settings);
    benchmark::DoNotOptimize(settings.publicFunctions.size());
  }
}
BENCHMARK(BM_SettingsLoad)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
