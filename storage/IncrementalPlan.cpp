#include "storage/IncrementalPlan.h"

#include "storage/ChangeResolver.h"
#include "storage/LinkKeySet.h"

#include <algorithm>

namespace velmox {

namespace {

QString everythingReadAgain(const char* reason) {
    return QString::fromUtf8(reason) + QStringLiteral(" so everything was read again.");
}

} // namespace

ReplayCollector ReplayCollector::replay(ChangeHistory& history, const QByteArray& root,
                                        const ScanStamp& stamp, std::chrono::milliseconds limit) {
    ReplayCollector collector;
    const Status replayed =
        history.replay(root, stamp.eventID, stamp.eventUUID, limit,
                       [&collector](const ChangeEvent& event) { return collector.take(event); });
    if (!replayed)
        collector.problem = replayed.error();
    else if (collector.problem.isEmpty() && !collector.historyReached)
        collector.problem = QStringLiteral("The change history could not be read.");
    return collector;
}

bool ReplayCollector::take(const ChangeEvent& event) {
    if (event.flags &
        (ChangeEvent::userDropped | ChangeEvent::kernelDropped | ChangeEvent::idsWrapped)) {
        problem = QStringLiteral("The change history has gaps.");
        stopped = true;
        return false;
    }
    if (event.flags & ChangeEvent::historyDone) {
        historyReached = true;
        return false;
    }
    if (event.flags & ChangeEvent::wholeTree)
        wholeTrees.insert(event.path);
    else
        paths.insert(event.path);
    if (paths.size() + wholeTrees.size() > kMaxPaths) {
        problem = QStringLiteral("Too many things changed since the last scan.");
        stopped = true;
        return false;
    }
    return true;
}

IncrementalPlan IncrementalPlan::build(const FileTree& baseline, const ReplayCollector& changes) {
    IncrementalPlan plan;
    const int32_t n = baseline.size();
    plan.mark.assign(static_cast<size_t>(n), reuse);
    ChangeResolver resolver(baseline);
    // A path that is not a folder of the earlier scan is read through the deepest folder
    // above it that is.
    const auto flag = [&](const QByteArray& path, Mark mark) {
        const auto resolved = resolver.resolve(path);
        if (!resolved)
            return;
        int32_t node = resolved->node;
        if (!resolved->exact)
            mark = read;
        // What happens inside an excluded item shows only in its entry, which its folder
        // holds.
        if (baseline.hasFlag(node, NodeFlag::excluded)) {
            node = baseline.parent(node);
            mark = read;
        }
        while (node > 0 && !baseline.hasFlag(node, NodeFlag::directory)) {
            node = baseline.parent(node);
            mark = read;
        }
        plan.mark[size_t(node)] = std::max<uint8_t>(plan.mark[size_t(node)], mark);
    };
    for (const QByteArray& path : changes.paths)
        flag(path, read);
    for (const QByteArray& path : changes.wholeTrees)
        flag(path, readAll);

    // Folders read again, counting those inside a folder read with all below it; parents come
    // before their children.
    std::vector<uint8_t> reread(size_t(n), 0);
    // Whether the folder is inside (or is) a folder read with everything below it.
    std::vector<uint8_t> whole(size_t(n), 0);
    const auto refresh = [&] {
        for (int32_t node = 0; node < n; ++node) {
            whole[size_t(node)] = plan.mark[size_t(node)] == readAll ||
                                  (node > 0 && whole[size_t(baseline.parent(node))]);
            reread[size_t(node)] = whole[size_t(node)] || plan.mark[size_t(node)] == read;
        }
    };
    refresh();
    // A hard-linked file keeps its sizes and time in every name: when one of its folders is
    // read again, so are the others.
    const std::vector<LinkedFile>& links = baseline.linkedFiles();
    for (bool changed = !links.empty(); changed;) {
        changed = false;
        LinkKeySet touched;
        for (const LinkedFile& file : links)
            if (reread[size_t(baseline.parent(file.node))])
                touched.insert(file.key);
        for (const LinkedFile& file : links) {
            const int32_t folder = baseline.parent(file.node);
            if (!reread[size_t(folder)] && touched.contains(file.key)) {
                plan.mark[size_t(folder)] = read;
                changed = true;
            }
        }
        if (changed)
            refresh();
    }
    // The walk goes down to every folder read again through its ancestors, which look at
    // the folders on the way again (their time and size changed with it). Children come
    // after their parents.
    for (int32_t node = n - 1; node > 0; --node)
        if (plan.mark[size_t(node)] != reuse && plan.mark[size_t(baseline.parent(node))] == reuse)
            plan.mark[size_t(baseline.parent(node))] = descend;
    refresh();
    for (int32_t node = 0; node < n; ++node)
        plan.flaggedFolders += reread[size_t(node)] && baseline.hasFlag(node, NodeFlag::directory);
    return plan;
}

IncrementalDecision IncrementalDecision::decide(const Inputs& in) {
    const auto full = [](QString note) {
        return IncrementalDecision{std::nullopt, std::move(note)};
    };
    const QByteArray root = in.root.toUtf8();
    const std::optional<QString> historyUuid = in.history ? in.history->uuid(root) : std::nullopt;
    if (!historyUuid)
        return full(everythingReadAgain("The change history is not available for this disk,"));
    if (!in.stamp || in.stamp->version != 1 || !in.stamp->fullScanDate || !in.baseline)
        return full(everythingReadAgain("The earlier scan cannot be updated,"));
    if (in.stamp->fullScanDate->secsTo(in.now) > kMaxStampAgeSeconds)
        return full(everythingReadAgain("The last complete scan is more than a week old,"));
    if (*historyUuid != in.stamp->eventUUID || in.identity != in.stamp->identity)
        return full(everythingReadAgain(
            "The disk or its change history is not the one the earlier scan saw,"));
    const FileTree& baseline = *in.baseline;
    if (in.baselineRoot != in.root || baseline.rootPath != in.root)
        return full(everythingReadAgain("The earlier scan covered something different,"));
    if (baseline.exclusions != in.exclusions)
        return full(everythingReadAgain("The exclusions changed,"));
    if (baseline.size() < 2 || baseline.hasFlag(0, NodeFlag::incomplete))
        return full(everythingReadAgain("The earlier scan was not complete,"));
    const std::vector<uint16_t>& flags = baseline.columns().flags;
    // Removed children count as an edit even where a file left out the flags.
    if (!baseline.deletedChildCounts().isEmpty() ||
        std::any_of(flags.begin(), flags.end(),
                    [](uint16_t f) { return (f & (NodeFlag::edited | NodeFlag::notRead)) != 0; }))
        return full(everythingReadAgain("The earlier scan was edited or incomplete,"));
    if (std::any_of(flags.begin(), flags.end(),
                    [](uint16_t f) { return (f & NodeFlag::linkedFolder) != 0; }))
        return full(everythingReadAgain("The disk contains linked folders,"));
    const ReplayCollector changes =
        ReplayCollector::replay(*in.history, root, *in.stamp, in.replayLimit);
    if (!changes.problem.isEmpty())
        return full(changes.problem + QStringLiteral(" Everything was read again."));
    IncrementalPlan plan = IncrementalPlan::build(baseline, changes);
    if (plan.flaggedFolders > kMaxFlaggedFolders)
        return full(everythingReadAgain("Too much changed since the last scan,"));
    return {std::move(plan), {}};
}

namespace IncrementalText {

QString checkingPhase() {
    return QStringLiteral("Checking what changed since the last scan...");
}

QString unsafe() {
    return QStringLiteral(
        "Some changes could not be applied safely, so everything was read again.");
}

QString seconds(double value) {
    return value < 10 ? QString::asprintf("%.1f s", value) : QString::asprintf("%.0f s", value);
}

QString updated(int64_t changedFolders, int64_t unchangedFolders, double elapsed) {
    if (changedFolders == 0)
        return QStringLiteral("Updated from the previous scan in %1: no folders had changed.")
            .arg(seconds(elapsed));
    return QStringLiteral("Updated %1 changed folders in %2. %3 unchanged folders were taken "
                          "from the previous scan.")
        .arg(changedFolders)
        .arg(seconds(elapsed))
        .arg(unchangedFolders);
}

} // namespace IncrementalText

} // namespace velmox
