// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "TQActivityRowWidget.h"
#include "TQDateUtilities.h"

#include "ui_ActivityRow.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPainter>
#include <QPainterPath>

struct TQActivityRowWidget::Private
{
    std::unique_ptr<Ui::ActivityRow> ui;
    TQActivityItemRef item;
};

namespace {

// The stop button's picture: a round dark badge with a light cross, drawn here at the sizes
// a screen of scale 1 and 2 asks for, in the palette's colours so it follows dark themes.
QIcon stopIcon(const QPalette &palette)
{
    QIcon icon;
    for (const int side : {16, 32}) {
        QPixmap pixmap(side, side);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal scale = side / 16.0;
        painter.scale(scale, scale);
        painter.setPen(Qt::NoPen);
        QColor badge = palette.color(QPalette::Active, QPalette::WindowText);
        badge.setAlphaF(0.55);
        painter.setBrush(badge);
        painter.drawEllipse(QRectF(1, 1, 14, 14));
        QPen cross(palette.color(QPalette::Active, QPalette::Base), 1.8, Qt::SolidLine, Qt::RoundCap);
        painter.setPen(cross);
        painter.drawLine(QPointF(5.5, 5.5), QPointF(10.5, 10.5));
        painter.drawLine(QPointF(10.5, 5.5), QPointF(5.5, 10.5));
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace

TQActivityRowWidget::TQActivityRowWidget(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<Private>())
{
    d->ui = std::make_unique<Ui::ActivityRow>();
    d->ui->setupUi(this);
    d->ui->cancelButton->setIcon(stopIcon(palette()));
    d->ui->cancelButton->setIconSize(QSize(16, 16));
    // The time left reads as secondary to the title.
    QFont small = d->ui->timeLeftLabel->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    d->ui->timeLeftLabel->setFont(small);
    d->ui->timeLeftLabel->setForegroundRole(QPalette::PlaceholderText);
    connect(d->ui->cancelButton, &QToolButton::clicked, this, &TQActivityRowWidget::cancelRequested);
}

TQActivityRowWidget::TQActivityRowWidget(NoDefaultLayout, QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<Private>())
{
}

TQActivityRowWidget::~TQActivityRowWidget() = default;

TQActivityItemRef TQActivityRowWidget::item() const
{
    return d->item;
}

void TQActivityRowWidget::setItem(const TQActivityItemRef &item)
{
    d->item = item;
    refresh();
}

void TQActivityRowWidget::refresh()
{
    if (!d->ui)
        return;
    const TQActivityItemRef &item = d->item;
    if (!item) {
        d->ui->titleLabel->clear();
        d->ui->progressBar->setRange(0, 1000);
        d->ui->progressBar->setValue(0);
        d->ui->timeLeftLabel->clear();
        d->ui->cancelButton->setEnabled(false);
        return;
    }
    d->ui->titleLabel->setText(item->title());
    const double fraction = item->progress();
    if (fraction < 0.0) {
        d->ui->progressBar->setRange(0, 0);
    } else {
        d->ui->progressBar->setRange(0, 1000);
        d->ui->progressBar->setValue(qRound(qBound(0.0, fraction, 1.0) * 1000.0));
    }
    const bool cancelling = item->shouldCancel();
    if (cancelling)
        d->ui->timeLeftLabel->setText(QCoreApplication::translate("ActivityRow", "Cancelling…"));
    else if (fraction > 0.0)
        d->ui->timeLeftLabel->setText(
            TQDateUtilities::stringForTimeLeftWithPercentComplete(item->startDate(), qMin(fraction, 1.0)));
    else
        d->ui->timeLeftLabel->clear();
    d->ui->cancelButton->setEnabled(!cancelling);
}

QLabel *TQActivityRowWidget::titleLabel() const
{
    return d->ui ? d->ui->titleLabel : nullptr;
}

QProgressBar *TQActivityRowWidget::progressBar() const
{
    return d->ui ? d->ui->progressBar : nullptr;
}

QLabel *TQActivityRowWidget::timeLeftLabel() const
{
    return d->ui ? d->ui->timeLeftLabel : nullptr;
}

QToolButton *TQActivityRowWidget::cancelButton() const
{
    return d->ui ? d->ui->cancelButton : nullptr;
}

void TQActivityRowWidget::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (!d->ui)
        return;
    if (event->type() == QEvent::PaletteChange)
        d->ui->cancelButton->setIcon(stopIcon(palette()));
    else if (event->type() == QEvent::LanguageChange) {
        d->ui->retranslateUi(this);
        refresh();
    }
}
