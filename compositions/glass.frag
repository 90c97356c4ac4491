#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform float phase;
uniform float panes;
uniform float lead;
uniform vec2 light;
uniform vec4 first;
uniform vec4 second;
uniform vec4 third;

vec3 scrambled(vec2 p) {
  vec3 q = fract(vec3(p.xyx) * vec3(0.1031, 0.1030, 0.0973));
  q += dot(q, q.yxz + 33.33);
  return fract((q.xxy + q.yzz) * q.zyx);
}

vec2 middle(vec2 cell) {
  vec3 dice = scrambled(cell);
  return 0.5 + 0.38 * sin(6.2832 * dice.xy + (0.4 + 0.1 * floor(4.0 * dice.z)) * phase);
}

void main() {
  vec2 aspect = vec2(float(width) / float(height), 1.0);
  vec2 p = uv * aspect * panes;
  vec2 cell = floor(p), part = p - cell;

  // The nearest middle, then the nearest line between it and another one.
  vec2 nearest = vec2(0.0), to = vec2(8.0);
  for (int y = -1; y <= 1; ++y) {
    for (int x = -1; x <= 1; ++x) {
      vec2 other = vec2(x, y);
      vec2 off = other + middle(cell + other) - part;
      if (dot(off, off) < dot(to, to)) {
        to = off;
        nearest = other;
      }
    }
  }
  float edge = 8.0;
  for (int y = -2; y <= 2; ++y) {
    for (int x = -2; x <= 2; ++x) {
      vec2 other = nearest + vec2(x, y);
      vec2 off = other + middle(cell + other) - part;
      if (x != 0 || y != 0) edge = min(edge, dot(0.5 * (to + off), normalize(off - to)));
    }
  }

  vec3 dice = scrambled(cell + nearest + 3.0);
  vec3 color = mix(mix(first.rgb, second.rgb, smoothstep(0.2, 0.55, dice.x)), third.rgb,
                   smoothstep(0.55, 0.85, dice.x));
  float away = length((uv - light) * aspect);
  float sun = 0.3 + 1.0 * exp(-2.2 * away * away);
  float uneven = 0.93 + 0.07 * sin(5.0 * to.x + 7.0 * to.y + 3.0 * sin(4.0 * to.y - 3.0 * to.x + 9.0 * dice.y));
  color *= (0.7 + 0.6 * dice.z) * sun * uneven * (0.72 + 0.28 * smoothstep(0.0, 0.35, edge));
  color += 0.25 * exp(-6.0 * away) * third.rgb;

  float blur = panes / float(height);
  float wide = 0.5 * lead;
  float ridge = sqrt(max(0.0, 1.0 - edge * edge / (wide * wide + 1e-6)));
  color = mix(vec3(0.03, 0.03, 0.04) + 0.16 * ridge * ridge * sun, color, smoothstep(wide - blur, wide + blur, edge));
  pixel = vec4(color, 1.0);
}
