/*
 * What a row of options is. An options class derives from PB_OBJ, has its members, and gives one tuple of rows, options(), in
 * the order of its fields. A row stands for one member.
 */
#ifndef IN_ROW_PRIVATE_HPP
#define IN_ROW_PRIVATE_HPP

#include <in/kit/in_entries_private.hpp>
#include <tuple>

namespace in {

/** What a row's member holds. */
template <class Row, class Owner>
using RowValue =
    std::remove_cvref_t<decltype( valueOf( std::declval<Owner &>().*std::declval<const Row &>().member ) )>;

/** It names the member that it stands for, which can be compared. */
template <class Row, class Owner>
concept MemberRow = requires( const Row &row, const Owner &owner )
{
    compareValues( owner.*row.member, owner.*row.member );
};

/** It has a key; without one, the member is neither stored nor restored. */
template <class Row>
concept StoredRow = requires( const Row &row, const char *key )
{
    key = row.key;
};

/** It reads the entry under its key, or says why that is passed over, and writes one; `full` is handed to inner options. */
template <class Row, class Owner>
concept EntryRow = requires( const Row &row, PB_STORE *store, RowValue<Row, Owner> &value, bool full )
{
    Ignored( row.read( store, value ) );
    row.write( &store, value, full );
};

/*
 * What a row need not have, but has in one form if at all.
 */

/** reset: sets the member to its default. Without it, the default is what the class's constructor leaves. */
template <class Row, class Owner>
concept ResettingRow = requires( const Row &row, Owner &owner )
{
    row.reset( owner );
};

/** stored: whether the member is written. Without it, it is when it was chosen or is there, or everything is wanted. */
template <class Row, class Owner>
concept ChoosingRow = requires( const Row &row, const Owner &owner, bool full )
{
    full = row.stored( owner.*row.member, full );
};

/** check: reports on what stands within the entry. */
template <class Row>
concept CheckingRow = requires( const Row &row, PB_STORE *store, Report &report )
{
    row.check( store, report );
};

/** checkStore: the same for a sub-store, a store of its own. */
template <class Row>
concept StoreCheckingRow = requires( const Row &row, PB_STORE *store )
{
    store = row.checkStore( store );
};

/** whenMissing: what is reported when there is no entry, or null. */
template <class Row>
concept WantedRow = requires( const Row &row, const char *words )
{
    words = row.whenMissing;
};

/** restoredInto: another member that takes the value that was read. */
template <class Row, class Owner>
concept DivertedRow = requires( const Row &row, Owner &owner, const RowValue<Row, Owner> &value )
{
    changed( owner.*row.restoredInto ) = value;
};

/** Whether a row with a key can be read and written, and none of these is there under its name and in another form. */
template <class Row, class Owner>
constexpr bool partsFit = ( ResettingRow<Row, Owner> || !requires { &Row::reset; } ) &&
                          ( ChoosingRow<Row, Owner> || !requires { &Row::stored; } ) &&
                          ( CheckingRow<Row> || !requires { &Row::check; } ) &&
                          ( StoreCheckingRow<Row> || !requires { &Row::checkStore; } ) &&
                          ( WantedRow<Row> || !requires { &Row::whenMissing; } ) &&
                          ( DivertedRow<Row, Owner> || !requires { &Row::restoredInto; } ) &&
                          ( EntryRow<Row, Owner> || !StoredRow<Row> );

/** A row of the options class Owner. */
template <class Row, class Owner>
concept OptionRow = MemberRow<Row, Owner> && partsFit<Row, Owner>;

template <class Owner, class Rows>
constexpr bool areRows = false;
template <class Owner, class... Row>
constexpr bool areRows<Owner, std::tuple<Row...>> = ( OptionRow<Row, Owner> && ... );

/** An options class: a tuple of rows. */
template <class Owner>
concept OptionsClass = areRows<Owner, decltype( Owner::options() )>;

/** Any class with options, to hold the kinds of rows against the concept. */
struct AnyOptions : PB_OBJ {};

} // namespace in

#endif
