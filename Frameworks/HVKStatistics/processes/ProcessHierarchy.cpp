#include "HVKStatistics/processes/ProcessHierarchy.h"

#include <algorithm>

namespace hvk {

void ProcessHierarchy::update(std::shared_ptr<const StatisticsProcessList> processes) {
    processes_ = std::move(processes);
    findParents();
    cutRings();
    link();
}

void ProcessHierarchy::findParents() {
    const StatisticsProcessList& processes = *processes_;
    parents_.assign(processes.size(), NoProcess);
    isIn_.assign(processes.size(), false);
    families_.find(processes);
    for (std::size_t index = 0; index < processes.size(); ++index) {
        StatisticsProcessItem& item = *processes[index];
        if (!item.readable) continue;
        item.isNew = false;
        isIn_[index] = true;
        parents_[index] = families_.headOf(processes, index);
        // The head of a service may be unreadable; then it is in the tree for the sake of what hangs under it.
        if (parents_[index] != NoProcess) isIn_[parents_[index]] = true;
    }
}

void ProcessHierarchy::cutRings() {
    // Each walk goes up until it meets a node that a walk came by. When that was this very walk, it went round.
    walks_.assign(parents_.size(), NoProcess);
    for (std::size_t walk = 0; walk < parents_.size(); ++walk) {
        std::size_t place = walk;
        while (place != NoProcess && walks_[place] == NoProcess) {
            walks_[place] = walk;
            place = parents_[place];
        }
        if (place == NoProcess || walks_[place] != walk) continue;
        std::size_t lowest = place;
        for (std::size_t member = parents_[place]; member != place; member = parents_[member])
            lowest = std::min(lowest, member);
        parents_[lowest] = NoProcess;
    }
}

void ProcessHierarchy::link() {
    const StatisticsProcessList& processes = *processes_;
    pool_.resize(processes.size());
    for (std::size_t index = 0; index < pool_.size(); ++index) {
        pool_[index] = {};
        pool_[index].item = &processes[index];
    }
    top_ = {};
    // From the last to the first, each put before its brothers.
    for (std::size_t index = pool_.size(); index-- > 0;) {
        if (!isIn_[index]) continue;
        ProcessHierarchyNode& node = pool_[index];
        node.parent = parents_[index] == NoProcess ? nullptr : &pool_[parents_[index]];
        ProcessHierarchyNodes& level = node.parent == nullptr ? top_ : node.parent->children;
        node.next = level.first;
        level.first = &node;
    }
}

ProcessHierarchyNode* findNode(const ProcessHierarchyNodes& nodes, std::int32_t pid) {
    ProcessHierarchyNode* node = nodes.first;
    for (std::size_t depth = 0; node != nullptr;) {
        if (node->process()->pid == pid) return node;
        if (!node->children.empty()) {
            node = node->children.first;
            ++depth;
            continue;
        }
        for (; node->next == nullptr && depth > 0; --depth) node = node->parent;
        node = node->next;
    }
    return nullptr;
}

void removeEndedNodes(ProcessHierarchyNodes& nodes) {
    // `link` is what points at the node in question, `owner` the node whose children are gone through.
    ProcessHierarchyNode** link = &nodes.first;
    ProcessHierarchyNode* owner = nullptr;
    for (std::size_t depth = 0;;) {
        ProcessHierarchyNode* node = *link;
        if (node == nullptr) {
            if (depth-- == 0) return;
            link = &owner->next;
            owner = owner->parent;
        } else if (node->process()->exists) {
            link = &node->children.first;
            owner = node;
            ++depth;
        } else {
            ProcessHierarchyNode** end = &node->children.first;
            for (; *end != nullptr; end = &(*end)->next) (*end)->parent = node->parent;
            *end = node->next;
            *link = node->children.first;
            node->children = {};
            node->parent = node->next = nullptr;
        }
    }
}

double sumNode(ProcessHierarchyNode& node, ProcessMetric metric) {
    const auto slot = static_cast<std::size_t>(metric);
    const auto enter = [&](ProcessHierarchyNode* entered) {
        entered->sums[slot] = processMetricValue(**entered->item, metric);
        return entered;
    };
    ProcessHierarchyNode* place = enter(&node);
    for (;;) {
        if (!place->children.empty()) {
            place = enter(place->children.first);
            continue;
        }
        // Everything below is summed: hand the sum up, as far as this is the last one of its level.
        for (;;) {
            if (place == &node) return node.sums[slot];
            place->parent->sums[slot] += place->sums[slot];
            if (place->next != nullptr) break;
            place = place->parent;
        }
        place = enter(place->next);
    }
}

}  // namespace hvk
