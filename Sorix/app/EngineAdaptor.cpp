#include "EngineAdaptor.h"

namespace sorix {

EngineAdaptor::EngineAdaptor(std::shared_ptr<TapEngine> engine, QObject* parent)
    : QObject(parent), engine_(std::move(engine)) {
    stateToken_ =
        engine_->state().observe([this](const TapEngine::State&) { Q_EMIT stateChanged(); });
    selectionToken_ = engine_->selectedOutputUIDs().observe(
        [this](const std::vector<std::string>&) { Q_EMIT outputsChanged(); });
    catalogueToken_ = engine_->availableOutputs().observe(
        [this](const std::vector<OutputDevice>&) { Q_EMIT outputsChanged(); });
}

EngineAdaptor::~EngineAdaptor() {
    engine_->state().removeObserver(stateToken_);
    engine_->selectedOutputUIDs().removeObserver(selectionToken_);
    engine_->availableOutputs().removeObserver(catalogueToken_);
}

QString EngineAdaptor::outputTitle() const {
    return QString::fromStdString(engine_->currentOutputName());
}

QString EngineAdaptor::outputSubtitle() const {
    return QString::fromStdString(engine_->currentOutputSubtitle());
}

bool EngineAdaptor::severalOutputs() const { return engine_->selectedOutputUIDs()->size() > 1; }

void EngineAdaptor::refreshOutputs() { engine_->refreshAvailableOutputs(); }

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
