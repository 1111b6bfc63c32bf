#include "TQFlippedView.h"

TQFlippedView::TQFlippedView(QWidget *parent) : QWidget(parent) {}

TQFlippedView::~TQFlippedView() = default;

bool TQFlippedView::isFlipped() const
{
    return true;
}
