// SPDX-License-Identifier: MIT
#include "package/PackageTask.h"

#include "package/BodyFetch.h"
#include "package/ChunkCodec.h"
#include "package/InstallSteps.h"
#include "package/PackagePaths.h"

#include <QDir>
#include <QUrl>

#include <algorithm>
#include <utility>

namespace VantorEngine {

namespace {

constexpr char kStart[] = "Start";
constexpr char kPreparing[] = "Preparing";
constexpr char kProgressing[] = "Progressing";
constexpr char kInstalling[] = "Installing";
constexpr char kSuccess[] = "Success";
constexpr char kFailed[] = "Failed";
constexpr char kCancelled[] = "Cancelled";
constexpr char kDuplicated[] = "Duplicated";

} // namespace

struct PackageTask::Job
{
    CancelFlag cancelled{false};
    InstallFolders folders;
    BranchPointer pointer;
    InstallRecord installed; ///< as it was found
    InstallRecord wanted;
    Survey survey;
    InstallPlan plan;
    QString problem;
    FileError error;
    std::atomic<qint64> examinedChunks{0};
    std::atomic<qint64> placedFiles{0};
};

PackageTask::PackageTask(const QByteArray& guid, const PackageRequest& request, EngineServices& services)
    : m_services(services), m_job(std::make_shared<Job>())
{
    m_report.guid = guid;
    m_report.request = request;
    m_report.localVersion = request.currentVersion;
    m_job->folders.install = request.installDir;
    m_tick.setSingleShot(true);
    connect(&m_tick, &QTimer::timeout, this, &PackageTask::tick);
}

PackageTask::~PackageTask()
{
    m_job->cancelled = true;
}

void PackageTask::start()
{
    m_started = true;
    m_speed.start(m_services.clock.elapsed());
    setStatus(kStart);
    scheduleTick();
    const QString problem = requestProblem(m_report.request);
    if (!problem.isEmpty()) {
        fail(kBadRequest, problem);
        return;
    }
    const PackageRequest request = m_report.request;
    const std::shared_ptr<Job> job = m_job;
    work(
        [job, request] {
            if (!request.installDir.isEmpty()) {
                job->installed = loadRecord(request.installDir, request.package);
            }
        },
        [this] { begin(); });
}

void PackageTask::begin()
{
    if (!m_job->installed.isEmpty()) {
        m_report.localVersion = m_job->installed.manifest.version;
        m_report.build = m_job->installed.build;
    }
    if (m_report.request.action == PackageAction::DeleteDatabase) {
        forgetInstallation();
        return;
    }
    const QUrl base(m_services.settings.packageBaseUrl);
    if (!isFetchable(base)) {
        fail(kNoServer, base.isEmpty() ? QStringLiteral("no \"package_base_url\" is configured")
                                       : QStringLiteral("the \"package_base_url\" is no http or https URL"));
        return;
    }
    if (base.scheme().toLower() == QLatin1String("https") && !m_services.tlsAvailable()) {
        fail(kTlsMissing, QStringLiteral("there is no TLS library for https"));
        return;
    }
    fetchPointer();
}

void PackageTask::forgetInstallation()
{
    const PackageRequest request = m_report.request;
    const std::shared_ptr<Job> job = m_job;
    // No build has this name, so the staged files of all of them go.
    job->folders.staging = stagingRoot(request) + QLatin1String("/none");
    work(
        [job, request] {
            removeOtherBuilds(job->folders);
            removeStaging(job->folders);
            if (!removeRecord(request.installDir, request.package)) {
                job->problem = QStringLiteral("cannot remove %1").arg(recordPath(request.installDir, request.package));
            }
        },
        [this] {
            if (!m_job->problem.isEmpty()) {
                fail(kStorage + kWriteFailed, m_job->problem);
                return;
            }
            endWith(kSuccess);
        });
}

void PackageTask::fetchPointer()
{
    fetch(pointerPath(m_report.request.package, m_report.request.branch), kMostPointerBytes, -1,
          [this](const QByteArray& body) { onPointer(body); });
}

void PackageTask::onPointer(const QByteArray& body)
{
    const QString problem = parsePointer(body, m_job->pointer);
    if (!problem.isEmpty()) {
        fail(kBadManifest, QStringLiteral("the description of the branch cannot be used: %1").arg(problem));
        return;
    }
    m_report.serverVersion = m_job->pointer.version;
    if (m_report.request.action == PackageAction::FetchVersion) {
        m_report.build = m_job->pointer.manifest;
        endWith(kSuccess);
        return;
    }
    findManifest();
}

/// A repair is of the version that is installed, everything else leads to the version of the server.
void PackageTask::findManifest()
{
    const InstallRecord& installed = m_job->installed;
    const bool repairs = m_report.request.action == PackageAction::RepairDownload && !installed.isEmpty();
    if (repairs || installed.build == m_job->pointer.manifest) {
        m_job->wanted = installed;
        survey();
        return;
    }
    const BranchPointer& pointer = m_job->pointer;
    fetch(manifestPath(m_report.request.package, pointer.manifest), kMostManifestBytes, pointer.manifestSize,
          [this](const QByteArray& body) { takeManifest(body); });
}

void PackageTask::takeManifest(const QByteArray& text)
{
    const std::shared_ptr<Job> job = m_job;
    const QString package = m_report.request.package;
    work(
        [job, text, package] {
            job->wanted.text = text;
            job->wanted.build = digestOf(text);
            if (job->wanted.build != job->pointer.manifest) {
                job->problem = QStringLiteral("it is not the one that the branch names");
                return;
            }
            job->problem = parseManifest(text, job->wanted.manifest);
            if (job->problem.isEmpty() && job->wanted.manifest.package != package) {
                job->problem = QStringLiteral("it belongs to the package %1").arg(job->wanted.manifest.package);
            }
        },
        [this] {
            if (!m_job->problem.isEmpty()) {
                fail(kBadManifest, QStringLiteral("the manifest cannot be used: %1").arg(m_job->problem));
                return;
            }
            survey();
        });
}

void PackageTask::survey()
{
    const std::shared_ptr<Job> job = m_job;
    m_report.build = job->wanted.build;
    m_report.totalFiles = job->wanted.manifest.files.size();
    m_report.totalChunks = job->wanted.manifest.chunks.size();
    job->folders.staging = stagingRoot(m_report.request) + QLatin1Char('/') + QString::fromLatin1(job->wanted.build);
    setStatus(kPreparing);
    const bool readAll = m_report.request.action == PackageAction::RepairDownload;
    work(
        [job, readAll] {
            job->survey =
                surveyInstallation(job->folders, job->wanted.manifest, job->installed, readAll, job->cancelled);
        },
        [this] { examineAll(); });
}

void PackageTask::examineAll()
{
    QVector<Examination>& examinations = m_job->survey.examinations;
    m_report.filesToPreprocess = examinations.size();
    for (const Examination& examination : qAsConst(examinations)) {
        m_report.chunksToPreprocess += m_job->wanted.manifest.files.at(examination.file).chunks.size();
    }
    if (examinations.isEmpty()) {
        plan();
        return;
    }
    const std::shared_ptr<Job> job = m_job;
    const auto left = std::make_shared<int>(examinations.size());
    for (Examination& each : examinations) {
        Examination* const examination = &each; // the vector does not change until all are through
        work(
            [job, examination] {
                examine(job->folders, job->wanted.manifest, *examination, job->cancelled, job->examinedChunks);
            },
            [this, left] {
                if (--*left == 0) {
                    plan();
                }
            });
    }
}

void PackageTask::plan()
{
    const std::shared_ptr<Job> job = m_job;
    const PackageAction action = m_report.request.action;
    work(
        [job, action] {
            job->plan = planInstallation(job->folders, job->wanted.manifest, job->installed, job->survey);
            if (action == PackageAction::NormalDownload) {
                removeOtherBuilds(job->folders);
            }
            if (writesInstallation(action) && !job->plan.toWrite.isEmpty() && !QDir().mkpath(job->folders.staging)) {
                job->problem = QStringLiteral("cannot make the folder %1").arg(job->folders.staging);
            }
        },
        [this] { onPlanned(); });
}

void PackageTask::onPlanned()
{
    if (!m_job->problem.isEmpty()) {
        fail(kStorage + kFolderFailed, m_job->problem);
        return;
    }
    const InstallPlan& plan = m_job->plan;
    m_report.totalDownloadBytes = plan.fetchStored;
    m_report.totalUncompressedBytes = plan.fetchSize;
    m_report.filesToProcess = plan.toWrite.size();
    m_report.chunksToProcess = plan.fetches.size();
    m_report.addedBytes = plan.addedBytes;
    if (m_report.request.action == PackageAction::FetchSize) {
        endWith(kSuccess);
        return;
    }
    assemble();
}

void PackageTask::assemble()
{
    for (const ChunkOrder& order : qAsConst(m_job->plan.copies)) {
        m_copies.push_back(std::make_shared<const ChunkOrder>(order));
    }
    for (const ChunkOrder& order : qAsConst(m_job->plan.fetches)) {
        m_fetches.push_back(std::make_shared<const ChunkOrder>(order));
    }
    setStatus(kProgressing);
    pump();
}

/// Keeps the connections and the worker threads busy, but no more than that: a cancel is obeyed within moments, and
/// what has arrived does not pile up.
void PackageTask::pump()
{
    if (m_endStatus != nullptr) {
        return;
    }
    const int mostBusy = 2 * static_cast<int>(WorkerPool::width());
    while (m_busy < mostBusy && !m_copies.empty()) {
        const Order order = m_copies.front();
        m_copies.pop_front();
        copyChunk(order);
    }
    const auto mostRunning = static_cast<std::size_t>(m_services.settings.maxParallelChunks);
    while (m_running.size() < mostRunning && m_busy < mostBusy && !m_fetches.empty()) {
        const Order order = m_fetches.front();
        m_fetches.pop_front();
        fetchChunk(order);
    }
    if (m_busy == 0 && m_running.empty() && m_copies.empty() && m_fetches.empty()) {
        commit();
    }
}

void PackageTask::copyChunk(const Order& order)
{
    struct Result
    {
        bool found = false;
        FileError error;
    };
    const std::shared_ptr<Job> job = m_job;
    const auto result = std::make_shared<Result>();
    work(
        [job, order, result] {
            QByteArray content;
            result->found = readLocalChunk(*order, job->wanted.manifest.chunks.at(order->chunk), content);
            if (result->found) {
                result->error = stageChunk(job->folders, *order, content, job->cancelled);
            }
        },
        [this, order, result] {
            if (result->error.kind != FileError::Kind::None) {
                fail(result->error);
                return;
            }
            if (!result->found) {
                // The disk has something else there than it should have.
                const ChunkSpec& chunk = m_job->wanted.manifest.chunks.at(order->chunk);
                ++m_report.chunksToProcess;
                m_report.totalDownloadBytes += chunk.stored;
                m_report.totalUncompressedBytes += chunk.size;
                m_fetches.push_back(order);
            }
            pump();
        });
}

void PackageTask::fetchChunk(const Order& order)
{
    const ChunkSpec& chunk = m_job->wanted.manifest.chunks.at(order->chunk);
    BodyFetch* const fetch = makeFetch(chunkPath(m_report.request.package, chunk.digest), chunk.stored, chunk.stored);
    m_running.push_back(fetch);
    fetch->start([this, fetch, order](const QByteArray& body, const FileError& error) {
        dropFetch(fetch);
        if (error.kind != FileError::Kind::None) {
            ++m_report.completedChunks;
            fail(error);
            return;
        }
        onChunkFetched(order, body);
    });
}

void PackageTask::onChunkFetched(const Order& order, const QByteArray& body)
{
    struct Result
    {
        bool right = false;
        FileError error;
    };
    m_fetchedStored += body.size();
    const std::shared_ptr<Job> job = m_job;
    const auto result = std::make_shared<Result>();
    work(
        [job, order, body, result] {
            QByteArray content;
            result->right = decodeChunk(body, job->wanted.manifest.chunks.at(order->chunk), content);
            if (result->right) {
                result->error = stageChunk(job->folders, *order, content, job->cancelled);
            }
        },
        [this, order, result] {
            if (result->error.kind != FileError::Kind::None) {
                fail(result->error);
            } else if (!result->right) {
                onCorrupt(order);
            } else {
                chunkFetched(*order);
                pump();
            }
        });
    pump();
}

void PackageTask::onCorrupt(const Order& order)
{
    const ChunkSpec& chunk = m_job->wanted.manifest.chunks.at(order->chunk);
    const QString path = chunkPath(m_report.request.package, chunk.digest);
    const int times = ++m_corrupt[order->chunk];
    m_fetchedStored -= chunk.stored;
    VANTOR_LOG(m_services.log, Warning, QStringLiteral("%1 is corrupt").arg(path));
    if (times >= kCorruptAttempts) {
        ++m_report.completedChunks;
        fail(kCorruptChunk,
             QStringLiteral("%1 is corrupt on the server; it was fetched %2 times").arg(path, QString::number(times)));
        return;
    }
    m_fetches.push_front(order);
    pump();
}

void PackageTask::chunkFetched(const ChunkOrder& order)
{
    const ChunkSpec& chunk = m_job->wanted.manifest.chunks.at(order.chunk);
    ++m_report.completedChunks;
    ++m_report.successfulChunks;
    m_report.decompressedBytes += chunk.size;
}

void PackageTask::commit()
{
    if (m_report.request.preDownload && m_report.request.action == PackageAction::NormalDownload) {
        endWith(kSuccess); // all is staged; the download that follows finds it there
        return;
    }
    setStatus(kInstalling);
    const std::shared_ptr<Job> job = m_job;
    work(
        [job] {
            job->error = commitInstallation(job->folders, job->plan, job->installed.manifest, job->wanted,
                                            job->cancelled, job->placedFiles);
        },
        [this] { onCommitted(); });
}

void PackageTask::onCommitted()
{
    if (m_job->error.kind != FileError::Kind::None) {
        fail(m_job->error);
        return;
    }
    m_report.localVersion = m_job->wanted.manifest.version;
    endWith(kSuccess);
}

QUrl PackageTask::urlOf(const QString& path) const
{
    QString base = m_services.settings.packageBaseUrl;
    if (!base.endsWith(QLatin1Char('/'))) {
        base += QLatin1Char('/');
    }
    QStringList names = path.split(QLatin1Char('/'));
    for (QString& name : names) {
        name = QString::fromLatin1(QUrl::toPercentEncoding(name));
    }
    return QUrl(base + names.join(QLatin1Char('/')));
}

void PackageTask::fetch(const QString& path, qint64 mostBytes, qint64 exactBytes,
                        std::function<void(const QByteArray&)> done)
{
    BodyFetch* const fetch = makeFetch(path, mostBytes, exactBytes);
    m_running.push_back(fetch);
    fetch->start([this, fetch, done = std::move(done)](const QByteArray& body, const FileError& error) {
        dropFetch(fetch);
        if (error.kind != FileError::Kind::None) {
            fail(error);
            return;
        }
        done(body);
    });
}

BodyFetch* PackageTask::makeFetch(const QString& path, qint64 mostBytes, qint64 exactBytes)
{
    auto fetch = std::make_unique<BodyFetch>(m_services, urlOf(path), mostBytes, exactBytes);
    fetch->setParent(this);
    fetch->setMeter([this](qint64 bytes) { m_speed.add(bytes); });
    return fetch.release();
}

/// The fetch may be the one that is calling.
void PackageTask::dropFetch(BodyFetch* fetch)
{
    m_running.erase(std::remove(m_running.begin(), m_running.end(), fetch), m_running.end());
    fetch->deleteLater();
}

void PackageTask::work(std::function<void()> work, std::function<void()> done)
{
    ++m_busy;
    const QPointer<PackageTask> self(this);
    m_services.workers.post(std::move(work), [self, done = std::move(done)] {
        if (self.isNull()) {
            return;
        }
        --self->m_busy;
        if (self->m_endStatus != nullptr) {
            self->endWhenQuiet();
            return;
        }
        done();
    });
}

void PackageTask::cancel()
{
    if (m_endStatus == nullptr) {
        endWith(kCancelled);
    }
}

void PackageTask::abandon()
{
    m_silent = true;
    cancel();
}

void PackageTask::endDuplicated(const QByteArray& runningGuid)
{
    m_report.duplicatedGuid = runningGuid;
    endWith(kDuplicated);
}

void PackageTask::fail(const FileError& error)
{
    fail(error.kind == FileError::Kind::Write ? kStorage + error.code : error.code, error.message);
}

void PackageTask::fail(int code, const QString& message)
{
    if (m_endStatus != nullptr) {
        return;
    }
    VANTOR_LOG(
        m_services.log, Warning,
        QStringLiteral("%1 of %2 failed: %3").arg(m_report.request.actionName, m_report.request.package, message));
    m_report.errorCode = code;
    m_report.errorMessage = message;
    endWith(kFailed);
}

void PackageTask::endWith(const char* status)
{
    m_endStatus = status;
    m_job->cancelled = status != kSuccess;
    const std::vector<BodyFetch*> running = m_running;
    for (BodyFetch* fetch : running) {
        dropFetch(fetch);
    }
    endWhenQuiet();
}

void PackageTask::endWhenQuiet()
{
    if (m_busy > 0 || m_ended) {
        return;
    }
    m_ended = true;
    m_tick.stop();
    m_report.completed = true;
    m_report.status = m_endStatus;
    m_report.bytesPerSecond = 0;
    sendReport();
    emit ended();
}

void PackageTask::setStatus(const char* status)
{
    m_report.status = status;
    sendReport();
}

void PackageTask::refreshCounters()
{
    qint64 arriving = 0;
    for (const BodyFetch* fetch : m_running) {
        arriving += fetch->received();
    }
    const bool counts = m_report.totalDownloadBytes > 0;
    m_report.downloadedBytes = counts ? std::min(m_fetchedStored + arriving, m_report.totalDownloadBytes) : 0;
    m_report.preprocessedChunks = m_job->examinedChunks;
    m_report.completedFiles = m_job->placedFiles;
    m_report.successfulFiles = m_report.completedFiles;
    if (!m_report.completed) {
        m_report.bytesPerSecond = m_speed.bytesPerSecond(m_services.clock.elapsed());
    }
}

void PackageTask::sendReport()
{
    if (m_silent) {
        return;
    }
    refreshCounters();
    m_services.outbox.sendChunkTask(m_report.guid, packageReportText(m_report));
}

void PackageTask::tick()
{
    sendReport();
    scheduleTick();
}

void PackageTask::scheduleTick()
{
    m_tick.start(m_services.settings.progressIntervalMs);
}

void PackageTask::intervalChanged()
{
    if (m_tick.isActive()) {
        scheduleTick();
    }
}

} // namespace VantorEngine
