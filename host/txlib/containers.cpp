#include <cstdint>
#include <typeinfo>

#include "datatext.h"
#include "txlib/basicdata.h"

namespace Tamrin::Tessera {
namespace {

bool IsContainer(const Data& data) {
  const std::type_info& type = typeid(data);
  return type == typeid(DataListData) || type == typeid(DictionaryData);
}

boost::shared_ptr<Data> EmptyLike(const Data& container) {
  if (dynamic_cast<const DataListData*>(&container)) return boost::make_shared<DataListData>();
  return boost::make_shared<DictionaryData>();
}

struct CloneTask {
  const Data* from;
  boost::shared_ptr<Data> to;
};

boost::shared_ptr<Data> CloneItem(const boost::shared_ptr<Data>& item, std::vector<CloneTask>& tasks) {
  if (!item || !IsContainer(*item)) return item ? item->Clone() : nullptr;
  const boost::shared_ptr<Data> copy = EmptyLike(*item);
  tasks.push_back({item.get(), copy});
  return copy;
}

void CloneInto(const CloneTask& task, std::vector<CloneTask>& tasks) {
  if (task.from->HasNoValue()) return;
  if (const auto* list = dynamic_cast<const DataListData*>(task.from)) {
    const auto items = boost::make_shared<DataList>();
    items->reserve(list->GetDataValue().size());
    for (const auto& item : list->GetDataValue()) items->push_back(CloneItem(item, tasks));
    static_cast<DataListData&>(*task.to).SetDataPointer(items);
    return;
  }
  const auto dictionary = boost::make_shared<Dictionary>();
  for (const auto& [key, value] : static_cast<const DictionaryData*>(task.from)->GetDataValue().GetItems())
    dictionary->SetItem(key, CloneItem(value, tasks));
  static_cast<DictionaryData&>(*task.to).SetDataPointer(dictionary);
}

std::uint64_t OwnSize(const Data& data, std::vector<const Data*>& tasks) {
  if (const auto* list = dynamic_cast<const DataListData*>(&data)) {
    if (list->HasNoValue()) return sizeof(DataListData);
    for (const auto& item : list->GetDataValue())
      if (item) tasks.push_back(item.get());
    return sizeof(DataListData) + sizeof(DataList) + list->GetDataValue().capacity() * sizeof(DataList::value_type);
  }
  const auto& dictionary = static_cast<const DictionaryData&>(data);
  std::uint64_t size = sizeof(DictionaryData);
  if (dictionary.HasNoValue()) return size;
  size += sizeof(Dictionary);
  for (const auto& [key, value] : dictionary.GetDataValue().GetItems()) {
    size += sizeof(Dictionary::Item) + key.size() * sizeof(wchar_t);
    if (value) tasks.push_back(value.get());
  }
  return size;
}

// The values that wait on this thread for the outermost release to let them go.
thread_local DataList* pendingValues = nullptr;

}  // namespace

boost::shared_ptr<Data> CloneContainer(const Data& data) {
  std::vector<CloneTask> tasks;
  const boost::shared_ptr<Data> copy = EmptyLike(data);
  tasks.push_back({&data, copy});
  while (!tasks.empty()) {
    const CloneTask task = tasks.back();
    tasks.pop_back();
    CloneInto(task, tasks);
  }
  return copy;
}

std::uint64_t ContainerSize(const Data& data) {
  std::vector<const Data*> tasks;
  std::uint64_t size = OwnSize(data, tasks);
  while (!tasks.empty()) {
    const Data& item = *tasks.back();
    tasks.pop_back();
    size += IsContainer(item) ? OwnSize(item, tasks) : item.SizeInBytes();
  }
  return size;
}

void ReleaseValues(DataList&& values) noexcept {
  if (pendingValues) {
    try {
      for (auto& value : values)
        if (value) pendingValues->push_back(std::move(value));
    } catch (const std::bad_alloc&) {
      // The rest goes with the vector, at the price of some stack.
    }
    return;
  }
  DataList pending = std::move(values);
  pendingValues = &pending;
  while (!pending.empty()) {
    const auto last = std::move(pending.back());
    pending.pop_back();
  }
  pendingValues = nullptr;
}

}  // namespace Tamrin::Tessera
