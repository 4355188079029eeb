// embed MODEL INPUT OUTPUT VALUE...: runs the model for each value at once, each in a thread and with a model of its
// own.
#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <iostream>
#include <vector>

#include "kcommon/installation.h"
#include "kcommon/kstr.h"
#include "txlib/basicdata.h"
#include "txlib/factories.h"

namespace {

using namespace Tamrin::Tessera;

std::atomic<bool> stopped{false};

std::wstring Run(const boost::shared_ptr<Model>& model, const std::wstring& input, const std::wstring& output,
                 const std::wstring& value) {
  if (!model->GetPort(input) || !model->GetPort(output)) throw std::runtime_error("the model has no such port");
  const auto messages = model->AddOnMessageCallback(
      [](const boost::shared_ptr<Operator>& op, const boost::shared_ptr<Port>&, const std::wstring& text,
         const std::wstring&, Issue::Severity) { std::wclog << op->GetDisplayName() + L": " + text + L"\n"; });
  model->GetPort(input)->SetData(MakeData<StringData>(value));
  model->Execute();
  const auto data = model->GetPort(output)->GetData();
  return data ? data->ToString() : L"(no data)";
}

}  // namespace

int main(int count, char** words) {
  if (count < 5) {
    std::cerr << "usage: embed MODEL INPUT OUTPUT VALUE...\n";
    return 2;
  }
  korven::common::PrepareInstallation();  // once, before any thread
  std::signal(SIGINT, [](int) { stopped = true; });
  std::vector<std::wstring> texts;
  for (int i = 1; i < count; ++i) texts.push_back(kstr_FromUtf8Lossy(words[i]));

  std::vector<boost::shared_ptr<Model>> models;
  std::vector<std::future<std::wstring>> results;
  int failures = 0;
  try {
    for (std::size_t i = 3; i < texts.size(); ++i) models.push_back(ModelFormatFactory::Open(texts[0], L""));
    for (std::size_t i = 3; i < texts.size(); ++i)
      results.push_back(std::async(std::launch::async, &Run, models[i - 3], texts[1], texts[2], texts[i]));
  } catch (const std::exception& fault) {
    std::cerr << "error: " << fault.what() << "\n";
    return 2;
  }
  for (std::size_t i = 0; i < results.size(); ++i) {
    while (results[i].wait_for(std::chrono::milliseconds(50)) != std::future_status::ready)
      if (stopped) models[i]->GetEnvironment()->Cancel();  // from any thread; the run ends at its next operator
    try {
      std::cout << words[i + 4] << ": " << kstr_ToUtf8(results[i].get()) << "\n";
    } catch (const std::exception& failure) {
      std::cout << words[i + 4] << ": error: " << failure.what() << "\n";
      ++failures;
    }
  }
  return failures ? 1 : 0;
}
