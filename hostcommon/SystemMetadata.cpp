#include "writers/host/SystemMetadata.h"

#include <algorithm>

namespace pwr {

SystemMetadata::SystemMetadata() = default;
SystemMetadata::SystemMetadata(SystemDescription description) : d_(std::move(description)) {}
SystemMetadata::~SystemMetadata() = default;

const std::string& SystemMetadata::getCPUNativeModelName(unsigned int /*package*/) const {
  return d_.cpuNativeModelName;
}

std::string SystemMetadata::getFormattedPCHDeviceNamesStr(const std::string& separator) const {
  std::string joined;
  for (const std::string& name : d_.pchDeviceNames) {
    if (!joined.empty()) joined += separator;
    joined += name;
  }
  return joined;
}

TopTree::TopTree() = default;
TopTree::~TopTree() = default;
TopTree::TopTree(TopTree&&) noexcept = default;
TopTree& TopTree::operator=(TopTree&&) noexcept = default;

unsigned long long TopTree::count(TNodeType type) const {
  return static_cast<unsigned long long>(
      std::ranges::count(nodes_, type, [](const auto& node) { return node->getType(); }));
}

void TopTree::getAllThreads(std::vector<const TNode*>& threads) const {
  threads.clear();
  for (const auto& node : nodes_) {
    if (node->getType() == TNodeType::Thread) threads.push_back(node.get());
  }
}

const TNode* TopTree::findOrAdd(TNodeType type, unsigned int id, const TNode* parent) {
  const TNode*& node = known_[{type, id, parent}];
  if (node == nullptr) {
    node = nodes_.emplace_back(std::make_unique<const TNode>(type, id, parent)).get();
  }
  return node;
}

void TopTree::addThread(unsigned int packageId, int moduleId, unsigned int coreId,
                        unsigned int threadId) {
  const TNode* parent = findOrAdd(TNodeType::System, 0, nullptr);
  parent = findOrAdd(TNodeType::Package, packageId, parent);
  if (moduleId >= 0) {
    parent = findOrAdd(TNodeType::Module, static_cast<unsigned int>(moduleId), parent);
  }
  parent = findOrAdd(TNodeType::Core, coreId, parent);
  findOrAdd(TNodeType::Thread, threadId, parent);
}

}  // namespace pwr
