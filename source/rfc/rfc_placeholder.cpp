static_assert( true );
