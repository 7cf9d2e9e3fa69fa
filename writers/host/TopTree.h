#pragma once

#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "writers/host/HostApi.h"

namespace pwr {

/// Kinds of node. The number of Module is part of the host interface.
enum class TNodeType : int { System = 0, Package = 1, Module = 2, Core = 3, Thread = 4 };

/// A node of the processor topology. Owned by its `TopTree`.
class PW_HOST_API TNode {
 public:
  TNode(TNodeType type, unsigned int id, const TNode* parent)
      : type_(type), id_(id), parent_(parent) {}

  TNodeType getType() const { return type_; }
  /// The number that the operating system gives the node; unique among its siblings.
  unsigned int getId() const { return id_; }
  /// Null for the system node.
  const TNode* getParent() const { return parent_; }

 private:
  TNodeType type_;
  unsigned int id_;
  const TNode* parent_;
};

/// The processor topology: system, packages, modules where there are any, cores, and hardware
/// threads (logical CPUs).
class PW_HOST_API TopTree {
 public:
  TopTree();
  ~TopTree();
  TopTree(const TopTree&) = delete;
  TopTree& operator=(const TopTree&) = delete;
  TopTree(TopTree&&) noexcept;
  TopTree& operator=(TopTree&&) noexcept;

  unsigned long long getNumPackages() const { return count(TNodeType::Package); }
  unsigned long long getNumModules() const { return count(TNodeType::Module); }
  unsigned long long getNumCores() const { return count(TNodeType::Core); }
  unsigned long long getNumThreads() const { return count(TNodeType::Thread); }
  /// Replaces `threads` by all thread nodes in the order in which they were added.
  void getAllThreads(std::vector<const TNode*>& threads) const;

  /// For the host: adds one logical CPU and whichever of its parents are new. `moduleId` is
  /// negative on machines without modules.
  void addThread(unsigned int packageId, int moduleId, unsigned int coreId, unsigned int threadId);

 private:
  unsigned long long count(TNodeType type) const;
  const TNode* findOrAdd(TNodeType type, unsigned int id, const TNode* parent);

  std::vector<std::unique_ptr<const TNode>> nodes_;
  std::map<std::tuple<TNodeType, unsigned int, const TNode*>, const TNode*> known_;
};

}  // namespace pwr
