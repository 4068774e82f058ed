#include "EngineAdaptor.h"

namespace sorix {

EngineAdaptor::EngineAdaptor(std::shared_ptr<TapEngine> engine, QObject* parent)
    : QObject(parent), engine_(std::move(engine)) {
    stateToken_ =
        engine_->state().observe([this](const TapEngine::State&) { Q_EMIT stateChanged(); });
    selectionToken_ =
        engine_->selectedOutputUIDs().observe([this](const std::vector<std::string>&) {
            Q_EMIT outputsChanged();
            Q_EMIT outputRowsChanged();
        });
    catalogueToken_ = engine_->availableOutputs().observe([this](const std::vector<OutputDevice>&) {
        Q_EMIT outputsChanged();
        Q_EMIT outputRowsChanged();
    });
    volumesToken_ = engine_->deviceVolumes().observe(
        [this](const std::map<std::string, float>&) { Q_EMIT outputRowsChanged(); });
    delaysToken_ = engine_->deviceDelaysMs().observe(
        [this](const std::map<std::string, double>&) { Q_EMIT outputRowsChanged(); });
    linkToken_ = engine_->volumesLinked().observe([this](bool) { Q_EMIT volumesLinkedChanged(); });
}

EngineAdaptor::~EngineAdaptor() {
    engine_->state().removeObserver(stateToken_);
    engine_->selectedOutputUIDs().removeObserver(selectionToken_);
    engine_->availableOutputs().removeObserver(catalogueToken_);
    engine_->deviceVolumes().removeObserver(volumesToken_);
    engine_->deviceDelaysMs().removeObserver(delaysToken_);
    engine_->volumesLinked().removeObserver(linkToken_);
}

QString EngineAdaptor::outputTitle() const {
    return QString::fromStdString(engine_->currentOutputName());
}

QString EngineAdaptor::outputSubtitle() const {
    return QString::fromStdString(engine_->currentOutputSubtitle());
}

bool EngineAdaptor::severalOutputs() const { return engine_->selectedOutputUIDs()->size() > 1; }

void EngineAdaptor::refreshOutputs() { engine_->refreshAvailableOutputs(); }

QVariantList EngineAdaptor::outputRows() const {
    const std::vector<std::string> uids = engine_->activeOutputUIDs();
    const auto& volumes = engine_->deviceVolumes().get();
    const auto& delays = engine_->deviceDelaysMs().get();
    QVariantList rows;
    for (const std::string& uid : uids) {
        const auto volume = volumes.find(uid);
        const auto delay = delays.find(uid);
        rows.push_back(QVariantMap{
            {"uid", QString::fromStdString(uid)},
            {"name", uids.size() == 1 ? QStringLiteral("Volume")
                                      : QString::fromStdString(engine_->outputName(uid))},
            {"volume", volume != volumes.end() ? static_cast<double>(volume->second) : 1.0},
            {"delayMs", delay != delays.end() ? delay->second : 0.0}});
    }
    return rows;
}

bool EngineAdaptor::tooManyBluetoothOutputs() const {
    return engine_->activeOutputUIDs().size() > 1 && engine_->activeBluetoothCount() >= 3;
}

bool EngineAdaptor::volumesLinked() const { return engine_->volumesLinked().get(); }

void EngineAdaptor::setVolumesLinked(bool linked) { engine_->setVolumesLinked(linked); }

void EngineAdaptor::setOutputVolume(const QString& uid, double volume) {
    engine_->setOutputVolume(uid.toStdString(), static_cast<float>(volume), true);
}

void EngineAdaptor::setOutputDelay(const QString& uid, double milliseconds) {
    engine_->setOutputDelay(uid.toStdString(), milliseconds);
}

bool EngineAdaptor::isOn() const {
    const auto kind = engine_->state()->kind();
    return kind == TapEngine::State::Case::starting || kind == TapEngine::State::Case::active;
}

bool EngineAdaptor::isActive() const {
    return engine_->state()->kind() == TapEngine::State::Case::active;
}

double EngineAdaptor::latestOutputPeak() const {
    return static_cast<double>(engine_->renderBuffers().peak(RenderBuffers::latestOutputPeak));
}

}  // namespace sorix
