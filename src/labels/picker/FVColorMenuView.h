// SPDX-FileCopyrightText: 2026 The TQKit developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#pragma once

#include "tqkit_export.h"

#include <QPointer>
#include <QWidget>
#include <QWidgetAction>

#include <functional>
#include <memory>

class FVColorMenuMatrix;
class QLabel;
class QMenu;

/*!
    \class FVColorMenuView
    \brief The label picker: a row of label swatches with the caption "Label:" and a field
    that names the swatch under the mouse, made to sit in a menu (see FVColorMenuAction).

    Clicking a swatch selects it, triggers the enclosing menu action (so that a host slot,
    or the responder chain when the action has an action name, runs) and then closes every
    open menu. The host reads the chosen label from tag() of the picker or of the
    FVColorMenuAction. Hovering a swatch boxes it and shows its name in typographic quotes
    (“Red”); the no-label swatch shows no name.

    Each time the picker is shown (its menu opens) its parts are enabled if the enclosing
    menu action is enabled, and the labels that the host's selection carries are fetched and
    outlined: the host answers with an invokable method on the main window's first responder,
    one of its parents, or the window's delegate:
    \code
    Q_INVOKABLE QList<int> selectedFinderLabels() const;
    \endcode
    When the picker is hidden, or its action is disabled, its parts are disabled: the
    swatches are washed out and react to nothing.

    Keyboard: the picker never takes focus (the menu keeps its own navigation). While the
    picker's row is the menu's active item, Left and Right move the box along the swatches
    (at either end the key goes on to the menu), and Return or Enter picks the boxed swatch.

    Accessibility: the matrix's interface has one child per swatch, a button named after its
    label, with a press action.

    GUI thread only. The picker owns its parts (children).

    \ingroup labels
*/
class TQKIT_EXPORT FVColorMenuView : public QWidget
{
    Q_OBJECT

public:
    //! A picker without parts (no matrix): selectLabel() and selectedTag() throw. Use
    //! menuView(), menuViewSmall() or fromInterface() for a working one.
    explicit FVColorMenuView(QWidget *parent = nullptr);
    ~FVColorMenuView() override;

    //! A new picker from the Designer file "FVColorMenuView": caption above a row of
    //! swatches, the name below.
    static std::unique_ptr<FVColorMenuView> menuView();
    //! A new picker from "FVColorMenuViewSmall": caption, swatches and name on one line.
    static std::unique_ptr<FVColorMenuView> menuViewSmall();
    /*!
        A new picker whose parts are made by \a setupUi (a uic form's setupUi), then
        connected by name: the matrix "_matrix", the caption "_labelField" and the name
        field "_labelNameField". Throws TQInvalidParameterException ("[objects count] > 0")
        when the form made nothing at all.
    */
    static std::unique_ptr<FVColorMenuView> fromInterface(const std::function<void(QWidget *)> &setupUi);

    //! Selects the swatch of label \a label. Throws TQInvalidParameterException
    //! ("nil != _matrix") for a picker without matrix.
    void selectLabel(int label);
    //! The label of the selected swatch. Throws TQInvalidParameterException
    //! ("nil != [_matrix selectedCell]") when none is selected.
    int selectedTag() const;
    //! The same as selectedTag().
    int tag() const { return selectedTag(); }

    //! The grid of swatches (a child of the picker), or null for a picker without parts.
    FVColorMenuMatrix *matrix() const { return _matrix; }
    //! The caption "Label:" (a child of the picker), or null.
    QLabel *labelField() const { return _labelField; }
    //! The field naming the boxed swatch (a child of the picker), or null.
    QLabel *labelNameField() const { return _labelNameField; }

    //! The menu action the picker stands for: the one set with setMenuAction() (an
    //! FVColorMenuAction sets itself), else the QWidgetAction of the enclosing menu whose
    //! default widget this is; null outside a menu.
    QWidgetAction *menuAction() const;
    //! Makes \a action (held weakly) the menu action the picker triggers.
    void setMenuAction(QWidgetAction *action);

signals:
    //! A swatch was picked (before the menu action is triggered).
    void labelPicked(int label);

protected:
    //! Finds the parts a form made by their object names and connects them.
    void awakeFromNib();
    //! Enables the parts and fetches the selection's labels (see above).
    void showEvent(QShowEvent *event) override;
    //! Disables the parts.
    void hideEvent(QHideEvent *event) override;
    //! Handles Left, Right, Return and Enter while the picker's row is active in its menu.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void fvLabelColorAction();
    void _handleColorNameUpdate(FVColorMenuMatrix *matrix);
    void viewWillMoveToWindow(bool intoWindow);
    QMenu *enclosingMenu() const;

    FVColorMenuMatrix *_matrix = nullptr;
    QLabel *_labelField = nullptr;
    QLabel *_labelNameField = nullptr;
    QPointer<QWidgetAction> m_menuAction;
    // Held as a QObject: the filter still sees events while the menu is half destroyed,
    // when it is no longer a QMenu.
    QPointer<QObject> m_watchedMenu;
};

/*!
    \class FVColorMenuAction
    \brief A menu item holding a label picker: one action that can sit in several menus, each
    getting its own picker (made in createWidget()).

    Connect to triggered(), or give it an action name with TQResponderUtilities::setAction();
    tag() then says which label was picked. GUI thread only.

    \ingroup labels
*/
class TQKIT_EXPORT FVColorMenuAction : public QWidgetAction
{
    Q_OBJECT

public:
    //! Which layout the pickers get.
    enum Variant {
        Normal, //!< caption above the swatches, the name below (FVColorMenuView::menuView())
        Small,  //!< caption, swatches and name on one line (FVColorMenuView::menuViewSmall())
    };

    //! An action whose pickers have the layout \a variant.
    explicit FVColorMenuAction(QObject *parent = nullptr, Variant variant = Normal);
    ~FVColorMenuAction() override;

    //! The layout of the pickers.
    Variant variant() const { return m_variant; }
    //! The label picked last in any of this action's pickers, or -1 before the first pick.
    int tag() const { return m_tag; }

protected:
    //! A new picker of variant() for a menu, owned by \a parent.
    QWidget *createWidget(QWidget *parent) override;

private:
    friend class FVColorMenuView;
    Variant m_variant;
    int m_tag = -1;
};
