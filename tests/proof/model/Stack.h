#pragma once

#include "World.h"
#include "WrapperModel.h"

namespace Korvel::PDF::Test {

enum class Wrapper { TempFile, Unencrypt };

/** Wrappers around each other, the innermost first. */
using Shape = std::vector<Wrapper>;

/** A stack of wrappers around the fake converter of a world: the real one, or its model. */
class Stack
{
public:
    virtual ~Stack() = default;

    virtual bool ConvertFile(const Task& task) = 0;
    virtual bool CancelConvertation() = 0;
    virtual Formats GetSupportedFormats() const = 0;
    virtual bool DoesServiceAvailable() = 0;

    /** The fake converter emits. */
    virtual void Emit(const Emission& emission) = 0;

    /** The fake converter emits on another thread. */
    virtual void EmitElsewhere(const Emission& emission) = 0;

    /** The event loop delivers what was emitted elsewhere until now. */
    virtual void DeliverQueued() = 0;

    /** The caller gives the outermost wrapper up. */
    virtual void Destroy() = 0;

    /** Called with each signal that the caller receives, as ReceiveAll reports it. */
    std::function<void(const std::string& line)> onReceived;
};

std::unique_ptr<Stack> MakeRealStack(const World& world, const Shape& shape, int verbosity);
std::unique_ptr<Stack> MakeModelStack(const World& world, const Shape& shape, int verbosity);

} // namespace Korvel::PDF::Test
