// ProcessHierarchy.h - the families: which process counts as part of which.
//
// It owns the tree and the sums over it; ProcessFamilies.h owns the rules of who hangs under whom. The tree has one
// node for each readable process, however deep, however strange its parents: what points back at itself (a parent of
// itself, two parents of each other, any longer ring) is cut at the member with the lowest pid, which becomes a row of
// its own with the others below it. So every readable process is in the tree exactly once. Building, pruning and
// summing take time linear in the processes and no recursion.
//
// Thread: the sampling thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKStatistics/processes/ProcessFamilies.h"
#include "HVKStatistics/processes/ProcessMetric.h"
#include "HVKStatistics/processes/StatisticsProcessList.h"

namespace hvk {

struct ProcessHierarchyNode;

/// Nodes beside each other, in ascending order of pid: the top level, or the children of a node. The nodes belong to
/// the tree; they live until it is updated.
struct ProcessHierarchyNodes {
    /// Goes from one node to the next beside it.
    struct Iterator {
        using iterator_category = std::forward_iterator_tag;
        using value_type = ProcessHierarchyNode;
        using difference_type = std::ptrdiff_t;
        using pointer = ProcessHierarchyNode*;
        using reference = ProcessHierarchyNode&;

        ProcessHierarchyNode& operator*() const { return *node; }
        ProcessHierarchyNode* operator->() const { return node; }
        inline Iterator& operator++();
        inline Iterator operator++(int);
        bool operator==(const Iterator&) const = default;

        ProcessHierarchyNode* node = nullptr;
    };

    ProcessHierarchyNode* first = nullptr;

    // The nodes, as of a forward list.
    Iterator begin() const { return {first}; }
    Iterator end() const { return {}; }
    bool empty() const { return first == nullptr; }
    /// Counts the nodes.
    std::size_t size() const { return static_cast<std::size_t>(std::distance(begin(), end())); }
};

/// One process in the tree.
struct ProcessHierarchyNode {
    const std::shared_ptr<StatisticsProcessItem>* item = nullptr;  ///< in the list that the tree was made from
    ProcessHierarchyNode* parent = nullptr;                        ///< null at the top level
    ProcessHierarchyNode* next = nullptr;                          ///< the one beside it
    ProcessHierarchyNodes children;
    std::array<double, ProcessMetricCount> sums{};  ///< by ProcessMetric; 0 until `hierarchySort` summed that metric

    /// The process.
    const std::shared_ptr<StatisticsProcessItem>& process() const { return *item; }
    /// A sum that `hierarchySort` left here.
    double sum(ProcessMetric metric) const { return sums[static_cast<std::size_t>(metric)]; }
};

inline ProcessHierarchyNodes::Iterator& ProcessHierarchyNodes::Iterator::operator++() {
    node = node->next;
    return *this;
}
inline ProcessHierarchyNodes::Iterator ProcessHierarchyNodes::Iterator::operator++(int) {
    const Iterator before = *this;
    node = node->next;
    return before;
}

/// The tree.
class HVK_EXPORT ProcessHierarchy {
public:
    ProcessHierarchy() = default;
    ProcessHierarchy(const ProcessHierarchy&) = delete;
    ProcessHierarchy& operator=(const ProcessHierarchy&) = delete;

    /// Builds the tree anew; the nodes of before are used again. Clears `isNew` of every process in it. The list is
    /// kept as long as the tree is.
    void update(std::shared_ptr<const StatisticsProcessList> processes);

    /// The top level; empty before the first update.
    ProcessHierarchyNodes& nodes() { return top_; }
    const ProcessHierarchyNodes& nodes() const { return top_; }

private:
    void findParents();
    void cutRings();
    void link();

    std::shared_ptr<const StatisticsProcessList> processes_;
    ProcessFamilies families_;
    std::vector<std::size_t> parents_;  ///< by place in the list; NoProcess at the top level
    std::vector<std::uint8_t> isIn_;    ///< which processes have a node
    std::vector<std::size_t> walks_;    ///< which walk came by, while rings are looked for
    std::vector<ProcessHierarchyNode> pool_;
    ProcessHierarchyNodes top_;
};

/// The node of a pid among `nodes` and everything below them, searched depth first; null when there is none.
HVK_EXPORT ProcessHierarchyNode* findNode(const ProcessHierarchyNodes& nodes, std::int32_t pid);

/// Takes the nodes of processes that ended out, at every level. What hung under one takes its place, so that no running
/// process is lost before the next update.
HVK_EXPORT void removeEndedNodes(ProcessHierarchyNodes& nodes);

/// The node's own figure plus those of everything below it. Leaves in every node passed its own sum.
HVK_EXPORT double sumNode(ProcessHierarchyNode& node, ProcessMetric metric);

}  // namespace hvk
