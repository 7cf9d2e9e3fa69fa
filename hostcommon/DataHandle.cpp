#include "writers/host/DataHandle.h"

#include <mutex>
#include <unordered_map>

#include "hostcommon/Descriptions.h"
#include "hostcommon/ImmortalStore.h"
#include "writers/host/Attribute.h"
#include "writers/host/DataDescriptor.h"
#include "writers/host/Quantity.h"

namespace pwr {

namespace {

/// All handles by id. Never destroyed, as the handles themselves.
struct HandleIndex {
  std::mutex mutex;
  std::unordered_map<unsigned long long, const DataHandle*> byId;

  static HandleIndex& instance() {
    static auto* const index = new HandleIndex;
    return *index;
  }
};

}  // namespace

int AttributeValueManager::addAttributeValue(const Attribute* attribute, const Data& value) {
  if (attribute == nullptr) return 1;
  values_.emplace_back(attribute, value);
  return 0;
}

DataHandle::DataHandle(DataHandleDescription description) : description_(std::move(description)) {
  HandleIndex& index = HandleIndex::instance();
  const std::lock_guard lock(index.mutex);
  index.byId.emplace(getId(), this);
}

DataHandle::~DataHandle() {
  HandleIndex& index = HandleIndex::instance();
  const std::lock_guard lock(index.mutex);
  index.byId.erase(getId());
}

int DataHandle::get(unsigned long long id, const DataHandle*& out) {
  HandleIndex& index = HandleIndex::instance();
  const std::lock_guard lock(index.mutex);
  const auto found = index.byId.find(id);
  if (found == index.byId.end()) return 1;
  out = found->second;
  return 0;
}

const DataHandle* createHandle(DataHandleDescription description) {
  return ImmortalStore<DataHandle>::instance().keep(
      std::unique_ptr<const DataHandle>(new DataHandle(std::move(description))));
}

const DataHandle* createColumn(const std::string& name, const Quantity* quantity) {
  const std::string units = shownUnits(quantity);
  return createHandle({.type = DataHandleType::Field,
                       .name = name,
                       .fieldName = units.empty() ? name : name + " (" + units + ")",
                       .quantity = quantity});
}

Attribute::Attribute(const std::string& name, const Quantity* quantity, AttributeType type)
    : DataHandle({.type = DataHandleType::Attribute,
                  .name = name,
                  .fieldName = name,
                  .quantity = quantity}),
      attributeType_(type) {}

const Attribute* Attribute::create(const std::string& name, const Quantity* quantity,
                                   AttributeType type) {
  return ImmortalStore<Attribute>::instance().keep(
      std::unique_ptr<const Attribute>(new Attribute(name, quantity, type)));
}

DataDescriptorBuilder::DataDescriptorBuilder(const std::string& name,
                                             const std::string& description)
    : name_(name), description_(description) {}

DataDescriptorBuilder::~DataDescriptorBuilder() = default;

DataDescriptor::DataDescriptor(const DataDescriptorBuilder& builder)
    : DataHandle({.type = DataHandleType::Descriptor,
                  .name = builder.getName(),
                  .fieldName = builder.getName(),
                  .attributes = builder.getAttributes()}),
      text_(builder.getDescription()) {}

const DataDescriptor* DataDescriptor::create(const DataDescriptorBuilder& builder) {
  return ImmortalStore<DataDescriptor>::instance().keep(
      std::unique_ptr<const DataDescriptor>(new DataDescriptor(builder)));
}

}  // namespace pwr
