// Criteria by which an application chooses what a view shows.
//
// The library only carries a pointer to such an object through a traversal, so that the
// application's shapes can ask for it; it never reads one and never owns one. The type is therefore
// declared here and defined by whoever wants to use it, at global scope.
#pragma once

class TqLViewCriteria;
