#include "EngineAdaptor.h"

namespace sorix {

EngineAdaptor::EngineAdaptor(std::shared_ptr<TapEngine> engine, QObject* parent)
    : QObject(parent), engine_(std::move(engine)) {
    stateToken_ =
        engine_->state().observe([this](const TapEngine::State&) { Q_EMIT stateChanged(); });
}

EngineAdaptor::~EngineAdaptor() { engine_->state().removeObserver(stateToken_); }

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
