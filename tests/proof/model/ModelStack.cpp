#include "Stack.h"

#include <deque>
#include <optional>

namespace Korvel::PDF::Test {

namespace {

class ModelStack : public Stack
{
public:
    ModelStack(const World& world, Shape shape, int verbosity)
        : world(world), shape(std::move(shape)), verbosity(verbosity)
    {
    }

    void Build() override
    {
        wrappers.clear();
        innermost.emplace(world.converter, world.trace);
        try {
            for (const Wrapper wrapper : shape)
                wrappers.push_back(MakeAround(Outermost(), wrapper));
        } catch (...) {
            Outermost().DropOwner();
            throw;
        }
        Outermost().Connect([this](const Emission& emission) { onReceived(emission.Line()); });
    }

    bool ConvertFile(const Task& task) override { return Outermost().ConvertFile(task); }
    bool CancelConvertation() override { return Outermost().CancelConvertation(); }
    Formats GetSupportedFormats() const override { return Outermost().GetSupportedFormats(); }
    bool DoesServiceAvailable() override { return Outermost().DoesServiceAvailable(); }

    void Emit(const Emission& emission) override { innermost->Emit(emission); }
    void EmitElsewhere(const Emission& emission) override { queued.push_back(emission); }

    void DeliverQueued() override
    {
        for (std::size_t count = queued.size(); count > 0; --count) {
            const Emission emission = queued.front();
            queued.pop_front();
            innermost->Emit(emission);
        }
    }

    void Destroy() override { Outermost().DropOwner(); }

private:
    std::unique_ptr<ConverterModel> MakeAround(ConverterModel& inner, Wrapper wrapper) const
    {
        const int position = int(shape.size() - wrappers.size());
        ModelServices services{world.trace, world.names, world.pdfs, world.files, verbosity};
        if (wrapper == Wrapper::Unencrypt)
            return std::make_unique<UnencryptModel>(services, inner, position);
        services.pdfs.reset(); // it is given none
        return std::make_unique<TempFileModel>(services, inner, position);
    }

    ConverterModel& Outermost() { return wrappers.empty() ? *innermost : *wrappers.back(); }
    const ConverterModel& Outermost() const { return *wrappers.back(); }

    const World& world;
    const Shape shape;
    const int verbosity;
    std::optional<InnermostModel> innermost;
    std::vector<std::unique_ptr<ConverterModel>> wrappers;
    /** Where the innermost wrapper's event loop would hold them. */
    std::deque<Emission> queued;
};

} // namespace

std::unique_ptr<Stack> MakeModelStack(const World& world, const Shape& shape, int verbosity)
{
    return std::make_unique<ModelStack>(world, shape, verbosity);
}

} // namespace Korvel::PDF::Test
