// For boxes that stand on something that scrolls.
#pragma once

#include <QWheelEvent>

// The wheel scrolls what is behind the box and must not change a choice in passing.
template<typename Box>
class WheellessBox : public Box {
protected:
    void wheelEvent(QWheelEvent* event) override { event->ignore(); }
};
